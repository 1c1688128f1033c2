// The installer and the portable archive as a user meets them.

#include "tests/windows/expectations.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <cstring>
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
const char quickStartTitle[] = "QuickStart.txt - Notepad";
const char archiveFolder[] = "TolvaneModemConnector/";

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

/// Files and folders of the archive, below its one top folder. A name beside
/// that folder stays whole, and is found by no comparison.
QSet<QString> archiveNames()
{
    QSet<QString> names;
    for (QString name :
         runOnHost("unzip", {"-Z1", WINDOWS_ARCHIVE}).split('\n', Qt::SkipEmptyParts)) {
        if (name.startsWith(archiveFolder))
            name.remove(0, static_cast<int>(std::strlen(archiveFolder)));
        if (name.endsWith('/'))
            name.chop(1);
        if (!name.isEmpty())
            names.insert(name);
    }
    return names;
}

} // namespace

class PackageTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_machine = newMachine("package"); }
    void cleanupTestCase() { m_machine.reset(); }

    void archiveHoldsWhatIsDelivered();
    void silentlyInstalledStartedAndRemoved();
    void upgradeKeepsWhatWasAdded();
    void installedByHand();
    void runningProgramIsNotOverwritten();
    void removalAsksForTheSettings();
    void silentRemovalOfTheSettings();
    void silentlyInstalledElsewhere();

private:
    /// Runs a case on a machine on which nothing is installed.
    void onMachine(const std::function<void(Desktop &)> &body);
    /// A case that failed may have left something.
    void removeWhatIsInstalled();
    int install(const QStringList &arguments = {"/S"});
    int uninstall(const QStringList &arguments = {"/S"});
    bool isRegistered();
    /// A text of the registration, as Windows' list of programs shows it.
    QString registered(const QString &name);
    /// Makes a file of messages, as every start leaves one.
    void keepMessages();
    /// What is on the disk now and was not before this test; temporary files
    /// are the system's to remove.
    QStringList added() const;

    std::unique_ptr<WineMachine> m_machine;
    QString m_folder; // as this test sees it
    QSet<QString> m_before;
};

void PackageTest::onMachine(const std::function<void(Desktop &)> &body)
{
    ::onMachine(*m_machine, [&](WineMachine &machine) {
        m_folder = machine.driveC() + "/Program Files/Tolvane Modem Connector";
        removeWhatIsInstalled();
        m_before = filesBelow(machine.driveC());
        body(machine.desktop);
    });
}

void PackageTest::removeWhatIsInstalled()
{
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
    waitFor("The end of the removal", [this] { return !isRegistered(); });
    return code;
}

bool PackageTest::isRegistered()
{
    return m_machine->run("reg", {"query", uninstallKey}) == 0;
}

QString PackageTest::registered(const QString &name)
{
    const QString file = "C:\\registered.reg";
    m_machine->run("reg", {"export", uninstallKey, file, "/y"});
    const QString host = m_machine->driveC() + "/registered.reg";
    QFile exported(host);
    if (!exported.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = exported.readAll();
    exported.remove();
    const QString text =
        QString::fromUtf16(reinterpret_cast<const char16_t *>(bytes.constData()), bytes.size() / 2);
    for (const QString &line : text.split("\r\n")) {
        if (line.startsWith('"' + name + "\"="))
            return line.section('=', 1).remove('"').replace("\\\\", "\\");
    }
    return {};
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
    onMachine([&](Desktop &) {
        const QSet<QString> names = archiveNames();
        for (const char *name : {"TolvaneDialler.exe",
                                 "TolvaneOperators.exe",
                                 "tolvane-operators.exe",
                                 "48x48.ico",
                                 "QuickStart.txt",
                                 "Manual.txt",
                                 "Notices.txt",
                                 "drivers/ReadMe.txt",
                                 "settings/ReadMe.txt",
                                 "licences/TolvaneModemConnector.txt",
                                 "licences/Qt-LGPL3.txt",
                                 "licences/Qt-GPL2.txt",
                                 "licences/Qt-GPL3.txt",
                                 "licences/Qt-copyright.txt",
                                 "licences/Qt-3rdparty-zlib.txt",
                                 "licences/Qt-3rdparty-libpng.txt",
                                 "licences/Qt-3rdparty-freetype.txt",
                                 "licences/Qt-3rdparty-harfbuzz-ng.txt",
                                 "licences/Qt-3rdparty-pcre2.txt",
                                 "licences/GCC.txt",
                                 "licences/MinGW-w64.txt"})
            QVERIFY2(names.contains(name), name);
        QVERIFY(content(m_machine->hostFolder() + "/licences/GCC.txt")
                    .contains("GCC RUNTIME LIBRARY EXCEPTION"));
        // Texts have the line ends that every Windows editor shows.
        for (const char *name : {"/QuickStart.txt", "/Manual.txt"}) {
            const QByteArray text = content(m_machine->hostFolder() + name);
            QVERIFY2(text.count("\r\n") > 1 && text.count("\r\n") == text.count('\n'), name);
            QVERIFY2(!text.contains("@VERSION@"), name);
        }
    });
}

void PackageTest::silentlyInstalledStartedAndRemoved()
{
    onMachine([&](Desktop &desktop) {
        QCOMPARE(install(), 0);
        QSet<QString> delivered = archiveNames();
        delivered.insert("Uninstall.exe");
        QCOMPARE(filesBelow(m_folder), delivered);
        QVERIFY(content(m_folder + "/TolvaneDialler.exe") ==
                content(m_machine->hostFolder() + "/TolvaneDialler.exe"));
        QVERIFY(isRegistered());
        for (const char *name :
             {"Tolvane Modem Connector", "Tolvane Mobile Operators", "Quick Start", "Manual"}) {
            const QString shortcut = QString("%1/%2.lnk").arg(startMenu, name);
            QVERIFY2(QFile::exists(m_machine->driveC() + shortcut), name);
        }

        // Started from where it was installed.
        const WindowId wizard = m_machine->startUntil(wizardTitle, installedProgram);
        desktop.keepPicture("package-installed-started");
        desktop.pressUntil(wizard, "Escape", "The program's end",
                           [this] { return m_machine->hasEnded(); });
        QCOMPARE(m_machine->waitForExit(), 0);

        m_machine->setSettings({{"NoOfDialups", "1"}});
        keepMessages();
        QCOMPARE(uninstall(), 0);
        QVERIFY(!isRegistered());
        // Silently, settings and messages are kept; nothing else is.
        QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
        QVERIFY(!m_machine->messageFiles().isEmpty());
        m_machine->reset();
        const QStringList left = added();
        QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
    });
}

void PackageTest::keepMessages()
{
    QVERIFY(QDir().mkpath(m_machine->messagesFolder()));
    QFile file(m_machine->messagesFolder() + "/messages-2026-11-21-23-59-59.log");
    QVERIFY(file.open(QIODevice::WriteOnly));
}

void PackageTest::upgradeKeepsWhatWasAdded()
{
    onMachine([&](Desktop &) {
        QCOMPARE(install(), 0);
        // As an older version would have left it, with drivers copied in.
        for (const char *name : {"TolvaneDialler.exe", "licences/Qt-Old.txt",
                                 "drivers/modem_inf_64.inf", "licences/Added.txt"}) {
            QFile file(m_folder + '/' + name);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("older");
        }
        QCOMPARE(m_machine->run("reg",
                                {"add", uninstallKey, "/v", "DisplayVersion", "/d", "0.9.0", "/f"}),
                 0);

        QCOMPARE(install(), 0);
        QVERIFY(content(m_folder + "/TolvaneDialler.exe") ==
                content(m_machine->hostFolder() + "/TolvaneDialler.exe"));
        QVERIFY(!QFile::exists(m_folder + "/licences/Qt-Old.txt"));
        QCOMPARE(content(m_folder + "/drivers/modem_inf_64.inf"), QByteArray("older"));
        QCOMPARE(registered("DisplayVersion"), QString(WINDOWS_VERSION));

        QCOMPARE(uninstall(), 0);
        // What was copied in is not the uninstaller's to delete.
        const QString kept = "Program Files/Tolvane Modem Connector";
        QCOMPARE(added().join('\n'),
                 QStringList({kept, kept + "/drivers", kept + "/drivers/modem_inf_64.inf",
                              kept + "/licences", kept + "/licences/Added.txt"})
                     .join('\n'));
    });
}

void PackageTest::installedByHand()
{
    onMachine([&](Desktop &desktop) {
        QProcess installer;
        installer.start(qEnvironmentVariable("TMC_WINE"), {WINDOWS_INSTALLER});
        const WindowId window = desktop.waitForWindow(installerTitle, WineMachine::StartPatience);
        desktop.keepPicture("installer-1-welcome");
        desktop.pressIn(window, "Return");
        desktop.keepPicture("installer-2-folder");
        desktop.pressIn(window, "Return");
        waitFor("The uninstaller on the disk",
                [&] { return QFile::exists(m_folder + "/Uninstall.exe"); });
        desktop.keepPicture("installer-3-finish");
        // Finish shows what is to be done before the first start, and starts nothing.
        desktop.pressIn(window, "Return");
        const WindowId text = desktop.waitForWindow(quickStartTitle, WineMachine::StartPatience);
        desktop.keepPicture("installer-4-quick-start");
        QVERIFY(desktop.window(wizardTitle).isEmpty());
        desktop.close(text);
        desktop.waitForNoWindow(quickStartTitle);
        desktop.waitForNoWindow(installerTitle);
        QVERIFY(installer.state() == QProcess::NotRunning || installer.waitForFinished(30000));
        QCOMPARE(installer.exitStatus(), QProcess::NormalExit);
        QCOMPARE(installer.exitCode(), 0);
        QVERIFY(isRegistered());
    });
}

void PackageTest::runningProgramIsNotOverwritten()
{
    onMachine([&](Desktop &desktop) {
        QCOMPARE(install(), 0);
        m_machine->startUntil(wizardTitle, installedProgram);
        QCOMPARE(install(), 2);
        QVERIFY(QFile::exists(m_folder + "/QuickStart.txt"));
        desktop.pressUntil(desktop.waitForWindow(wizardTitle), "Escape", "The program's end",
                           [this] { return m_machine->hasEnded(); });
        QCOMPARE(m_machine->waitForExit(), 0);
    });
}

void PackageTest::removalAsksForTheSettings()
{
    onMachine([&](Desktop &desktop) {
        QCOMPARE(install(), 0);
        // The program has kept copies of a file that was damaged.
        for (const char *end : {".damaged1", ".damaged2"}) {
            m_machine->setSettings({{"NoOfDialups", end}});
            QVERIFY(QFile::copy(m_machine->settingsFile(), m_machine->settingsFile() + end));
        }
        m_machine->setSettings({{"NoOfDialups", "1"}});
        keepMessages();
        QProcess uninstaller;
        uninstaller.start(qEnvironmentVariable("TMC_WINE"), {installedUninstaller});
        const WindowId window = desktop.waitForWindow(uninstallerTitle, WineMachine::StartPatience);
        desktop.pressIn(window, "Return");
        // The question is a window of the same title above the first.
        waitFor("The end of the removal", [&] { return !isRegistered(); });
        desktop.keepPicture("uninstaller-question");
        QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
        QCOMPARE(m_machine->messageFiles().size(), 1);
        desktop.pressIn(desktop.waitForWindow(uninstallerTitle), "alt+n");
        waitFor("The end of the settings", [&] { return m_machine->settingsText().isEmpty(); });
        desktop.keepPicture("uninstaller-done");
        desktop.pressIn(desktop.waitForWindow(uninstallerTitle), "Return");
        desktop.waitForNoWindow(uninstallerTitle);
        const QStringList left = added();
        QVERIFY2(left.isEmpty(), qPrintable(left.join('\n')));
    });
}

void PackageTest::silentRemovalOfTheSettings()
{
    onMachine([&](Desktop &) {
        QCOMPARE(install(), 0);
        m_machine->setSettings({{"NoOfDialups", "1"}});
        keepMessages();
        QCOMPARE(uninstall({"/S", "/REMOVESETTINGS"}), 0);
        waitFor("The end of every file", [&] { return added().isEmpty(); });
    });
}

void PackageTest::silentlyInstalledElsewhere()
{
    onMachine([&](Desktop &) {
        const QString elsewhere = m_machine->driveC() + "/Phone";
        QCOMPARE(install({"/S", "/D=C:\\Phone"}), 0);
        QVERIFY(QFile::exists(elsewhere + "/TolvaneDialler.exe"));
        QVERIFY(!QFile::exists(m_folder));
        // An upgrade finds the place by itself.
        QVERIFY(QFile::remove(elsewhere + "/QuickStart.txt"));
        QCOMPARE(install(), 0);
        QVERIFY(QFile::exists(elsewhere + "/QuickStart.txt"));

        // Installed into another folder it moves; what was added stays behind.
        QFile driver(elsewhere + "/drivers/modem_inf_64.inf");
        QVERIFY(driver.open(QIODevice::WriteOnly));
        driver.close();
        QCOMPARE(install({"/S", "/D=C:\\Modem"}), 0);
        QCOMPARE(registered("InstallLocation"), QString("C:\\Modem"));
        QCOMPARE(filesBelow(elsewhere), QSet<QString>({"drivers", "drivers/modem_inf_64.inf"}));
        QVERIFY(QDir(elsewhere).removeRecursively());

        QCOMPARE(m_machine->run("C:\\Modem\\Uninstall.exe", {"/S"}), 0);
        waitFor("The end of every trace", [&] { return !isRegistered() && added().isEmpty(); });
    });
}

QTEST_GUILESS_MAIN(PackageTest)
#include "package_test.moc"
