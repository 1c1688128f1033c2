// The installer and the portable archive as a user meets them.

#include "tests/windows/winemachine.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <memory>

namespace {

const char uninstallKey[] =
    "HKLM\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Tolvane Modem Connector";
const char installedProgram[] = "C:\\Program Files\\Tolvane Modem Connector\\TolvaneDialler.exe";
const char installedUninstaller[] = "C:\\Program Files\\Tolvane Modem Connector\\Uninstall.exe";
const char startMenu[] =
    "/ProgramData/Microsoft/Windows/Start Menu/Programs/Tolvane Modem Connector";
const char installerTitle[] = "Tolvane Modem Connector Setup";
const char uninstallerTitle[] = "Tolvane Modem Connector Uninstall";
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
    void silentRemovalOfTheSettings();
    void silentlyInstalledElsewhere();

private:
    int install(const QStringList &arguments = {"/S"});
    int uninstall(const QStringList &arguments = {"/S"});
    bool isRegistered();
    /// What is on the disk now and was not before this test; temporary files
    /// are the system's to remove.
    QStringList added() const;

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
    // The uninstaller goes on as a copy of itself and returns before it is
    // done. The registration goes when all but the settings is gone.
    const int code = m_machine->run(installedUninstaller, arguments);
    return QTest::qWaitFor([&] { return !isRegistered(); }, 30000) ? code : -1;
}

bool PackageTest::isRegistered()
{
    return m_machine->run("reg", {"query", uninstallKey}) == 0;
}

QStringList PackageTest::added() const
{
    QStringList files =
        (filesBelow(m_machine->driveC()) - m_before)
            .values()
            .filter(QRegularExpression("^(?!users/[^/]+/(AppData/Local/)?Temp(/|$))"));
    files.sort();
    return files;
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
    QVERIFY(content(m_folder + "/TolvaneDialler.exe") ==
            content(m_machine->hostFolder() + "/TolvaneDialler.exe"));
    QVERIFY(isRegistered());
    QVERIFY(QFile::exists(m_machine->driveC() + startMenu + "/Tolvane Modem Connector.lnk"));

    // Started from where it was installed.
    QVERIFY(m_machine->start(installedProgram));
    const QString wizard = m_machine->waitForWindow(wizardTitle, 60000);
    QVERIFY(!wizard.isEmpty());
    m_machine->screenshot("package-installed-started");
    m_machine->pressUntil(wizard, "Escape", [this] { return m_machine->hasEnded(); });
    QCOMPARE(m_machine->waitForExit(), 0);

    m_machine->setSettings({{"NoOfDialups", "1"}});
    QCOMPARE(uninstall(), 0);
    QVERIFY(!isRegistered());
    // Silently, settings are kept; nothing else is.
    QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
    m_machine->reset();
    const QStringList left = added();
    QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
}

void PackageTest::upgradeKeepsWhatWasAdded()
{
    QCOMPARE(install(), 0);
    // As an older version would have left it, with drivers copied in.
    for (const char *name :
         {"TolvaneDialler.exe", "licences/Old.txt", "drivers/modem_inf_64.inf"}) {
        QFile file(m_folder + '/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("older");
    }
    QCOMPARE(
        m_machine->run("reg", {"add", uninstallKey, "/v", "DisplayVersion", "/d", "0.9.0", "/f"}),
        0);

    QCOMPARE(install(), 0);
    QVERIFY(content(m_folder + "/TolvaneDialler.exe") ==
            content(m_machine->hostFolder() + "/TolvaneDialler.exe"));
    QVERIFY(!QFile::exists(m_folder + "/licences/Old.txt"));
    QCOMPARE(content(m_folder + "/drivers/modem_inf_64.inf"), QByteArray("older"));
    QCOMPARE(m_machine->run("reg", {"query", uninstallKey, "/v", "DisplayVersion"}), 0);

    QCOMPARE(uninstall(), 0);
    // Drivers that were copied in are not the uninstaller's to delete.
    const QString kept = "Program Files/Tolvane Modem Connector";
    QCOMPARE(added().join('\n'),
             QStringList({kept, kept + "/drivers", kept + "/drivers/modem_inf_64.inf"}).join('\n'));
}

void PackageTest::installedByHand()
{
    QProcess installer;
    installer.start(qEnvironmentVariable("TMC_WINE"), {WINDOWS_INSTALLER});
    const QString window = m_machine->waitForWindow(installerTitle, 60000);
    QVERIFY(!window.isEmpty());
    m_machine->screenshot("installer-1-welcome");
    m_machine->press(window, "Return");
    m_machine->screenshot("installer-2-folder");
    m_machine->press(window, "Return");
    QVERIFY(QTest::qWaitFor([&] { return QFile::exists(m_folder + "/Uninstall.exe"); }, 30000));
    m_machine->screenshot("installer-3-finish");
    // Finish starts the program.
    m_machine->press(window, "Return");
    const QString wizard = m_machine->waitForWindow(wizardTitle, 60000);
    QVERIFY(!wizard.isEmpty());
    QVERIFY(m_machine->pressUntil(wizard, "Escape",
                                  [this] { return m_machine->waitForNoWindow(wizardTitle, 0); }));
    QVERIFY(m_machine->waitForNoWindow(installerTitle));
    QVERIFY(installer.state() == QProcess::NotRunning || installer.waitForFinished(30000));
    QCOMPARE(installer.exitStatus(), QProcess::NormalExit);
    QCOMPARE(installer.exitCode(), 0);
    QVERIFY(isRegistered());
}

void PackageTest::runningProgramIsNotOverwritten()
{
    QCOMPARE(install(), 0);
    QVERIFY(m_machine->start(installedProgram));
    QVERIFY(!m_machine->waitForWindow(wizardTitle, 60000).isEmpty());
    QCOMPARE(install(), 2);
    QVERIFY(QFile::exists(m_folder + "/QuickStart.txt"));
    m_machine->pressUntil(m_machine->waitForWindow(wizardTitle), "Escape",
                          [this] { return m_machine->hasEnded(); });
    QCOMPARE(m_machine->waitForExit(), 0);
}

void PackageTest::removalAsksForTheSettings()
{
    QCOMPARE(install(), 0);
    m_machine->setSettings({{"NoOfDialups", "1"}});
    QProcess uninstaller;
    uninstaller.start(qEnvironmentVariable("TMC_WINE"), {installedUninstaller});
    const QString window = m_machine->waitForWindow(uninstallerTitle, 60000);
    QVERIFY(!window.isEmpty());
    m_machine->press(window, "Return");
    // The question is a window of the same title above the first.
    QVERIFY(QTest::qWaitFor([&] { return !isRegistered(); }, 30000));
    m_machine->screenshot("uninstaller-question");
    QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
    m_machine->press(m_machine->waitForWindow(uninstallerTitle), "alt+n");
    QVERIFY(QTest::qWaitFor([&] { return m_machine->settingsText().isEmpty(); }, 10000));
    m_machine->screenshot("uninstaller-done");
    m_machine->press(m_machine->waitForWindow(uninstallerTitle), "Return");
    QVERIFY(m_machine->waitForNoWindow(uninstallerTitle));
    const QStringList left = added();
    QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
}

void PackageTest::silentRemovalOfTheSettings()
{
    QCOMPARE(install(), 0);
    m_machine->setSettings({{"NoOfDialups", "1"}});
    QCOMPARE(uninstall({"/S", "/REMOVESETTINGS"}), 0);
    QVERIFY(QTest::qWaitFor([&] { return added().isEmpty(); }, 10000));
}

void PackageTest::silentlyInstalledElsewhere()
{
    const QString elsewhere = m_machine->driveC() + "/Phone";
    QCOMPARE(install({"/S", "/D=C:\\Phone"}), 0);
    QVERIFY(QFile::exists(elsewhere + "/TolvaneDialler.exe"));
    QVERIFY(!QFile::exists(m_folder));
    // An upgrade finds the place by itself.
    QVERIFY(QFile::remove(elsewhere + "/QuickStart.txt"));
    QCOMPARE(install(), 0);
    QVERIFY(QFile::exists(elsewhere + "/QuickStart.txt"));

    QCOMPARE(m_machine->run("C:\\Phone\\Uninstall.exe", {"/S"}), 0);
    QVERIFY(QTest::qWaitFor([&] { return !isRegistered() && added().isEmpty(); }, 30000));
}

QTEST_GUILESS_MAIN(PackageTest)
#include "package_test.moc"
