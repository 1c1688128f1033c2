// The installer and the portable archive as a user meets them.

#include "tests/windows/winemachine.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSet>
#include <QTest>

#include <memory>

namespace {

const char uninstallKey[] =
    "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Tolvane Modem Connector";
const char wizardTitle[] = "Welcome To Tolvane Modem Connector Settings";

QSet<QString> filesBelow(const QString &folder)
{
    QSet<QString> files;
    QDirIterator iterator(folder, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                          QDirIterator::Subdirectories);
    while (iterator.hasNext())
        files.insert(QDir(folder).relativeFilePath(iterator.next()));
    return files;
}

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class PackageTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_machine = std::make_unique<WineMachine>(); }
    void cleanupTestCase() { m_machine.reset(); }
    void init();
    void cleanup();

    void archiveHoldsWhatIsDelivered();
    void silentlyInstalledStartedAndRemoved();
    void upgradeKeepsWhatWasAdded();
    void installedByHand();
    void runningProgramIsNotOverwritten();
    void removalAsksForTheSettings();

private:
    int install(const QStringList &arguments = {"/S"});
    int uninstall(const QStringList &arguments = {"/S"});
    bool isRegistered();

    std::unique_ptr<WineMachine> m_machine;
    QString m_folder; // as this test sees it
    QSet<QString> m_before;
};

void PackageTest::init()
{
    m_machine->reset();
    m_folder = m_machine->driveC() + "/Program Files/Tolvane Modem Connector";
    m_before = filesBelow(m_machine->driveC());
}

void PackageTest::cleanup()
{
    m_machine->stop();
    if (QTest::currentTestFailed())
        m_machine->screenshot(QString("package-") + QTest::currentTestFunction() + "-failed");
    if (QFile::exists(m_folder + "/Uninstall.exe"))
        uninstall({"/S", "/REMOVESETTINGS"});
    QDir(m_folder).removeRecursively();
}

int PackageTest::install(const QStringList &arguments)
{
    return m_machine->run(WINDOWS_INSTALLER, arguments);
}

int PackageTest::uninstall(const QStringList &arguments)
{
    // Without _?= the uninstaller copies itself elsewhere and returns before
    // it is done; with it, it cannot delete itself.
    const int code = m_machine->run("C:\\Program Files\\Tolvane Modem Connector\\Uninstall.exe",
                                    arguments);
    if (!QTest::qWaitFor([&] { return !QFile::exists(m_folder + "/Uninstall.exe"); }, 30000))
        return -1;
    return code;
}

bool PackageTest::isRegistered()
{
    return m_machine->run("reg", {"query", uninstallKey}) == 0;
}

void PackageTest::archiveHoldsWhatIsDelivered()
{
    const QStringList names =
        runOnHost("unzip", {"-Z1", WINDOWS_ARCHIVE}).split('\n', Qt::SkipEmptyParts);
    const QString top = "TolvaneModemConnector/";
    for (const char *name :
         {"TolvaneDialler.exe", "48x48.ico", "QuickStart.txt", "Notices.txt", "drivers/ReadMe.txt",
          "settings/ReadMe.txt", "licences/TolvaneModemConnector.txt", "licences/Qt-LGPL3.txt",
          "licences/Qt-copyright.txt"})
        QVERIFY2(names.contains(top + name), name);
    for (const QString &name : names)
        QVERIFY2(name.startsWith(top), qPrintable(name));
    // Texts have the line ends that every Windows editor shows.
    const QByteArray text = content(m_machine->hostFolder() + "/QuickStart.txt");
    QVERIFY(text.contains("\r\n"));
    QVERIFY(!text.contains("@VERSION@"));
}

void PackageTest::silentlyInstalledStartedAndRemoved()
{
    QCOMPARE(install(), 0);
    QVERIFY(QFile::exists(m_folder + "/TolvaneDialler.exe"));
    QCOMPARE(content(m_folder + "/TolvaneDialler.exe"),
             content(m_machine->hostFolder() + "/TolvaneDialler.exe"));
    QVERIFY(isRegistered());
    const QSet<QString> added = filesBelow(m_machine->driveC()) - m_before;
    QVERIFY(!added.filter("ProgramData/Microsoft/Windows/Start Menu/Programs/Tolvane Modem "
                          "Connector/Tolvane Modem Connector.lnk")
                 .isEmpty());

    // Started from where it was installed, by the path of the shortcut.
    QVERIFY(m_machine->start("C:\\Program Files\\Tolvane Modem Connector\\TolvaneDialler.exe"));
    const QString wizard = m_machine->waitForWindow(wizardTitle, 60000);
    QVERIFY(!wizard.isEmpty());
    m_machine->screenshot("package-installed-started");
    m_machine->press(wizard, "Escape");
    QCOMPARE(m_machine->waitForExit(), 0);

    QCOMPARE(uninstall(), 0);
    QVERIFY(!isRegistered());
    QStringList left = (filesBelow(m_machine->driveC()) - m_before).values();
    QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
}

QTEST_GUILESS_MAIN(PackageTest)
#include "package_test.moc"
