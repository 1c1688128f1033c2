#include "tests/windows/winemachine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace {

const char packageFolder[] = "Program Files/TolvaneModemConnector";
const char *const doubledLibraries[] = {"rasapi32", "rasdlg", "setupapi", "newdev", "cfgmgr32"};

QString environment(const char *name)
{
    const QString value = qEnvironmentVariable(name);
    expect(!value.isEmpty(),
           QString("%1 is not set; run the tests through scripts/windows test").arg(name));
    return value;
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    // Written beside and moved into place: a double that reads at this moment
    // sees the old state or the new one.
    QFile file(path + ".new");
    expect(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
           "Cannot write " + path);
    file.close();
    QFile::remove(path);
    expect(file.rename(path), "Cannot replace " + path);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString unixLines(const QByteArray &text)
{
    return QString::fromUtf8(text).replace("\r\n", "\n");
}

void copyOver(const QString &from, const QString &to)
{
    QFile::remove(to);
    expect(QFile::copy(from, to), "Cannot copy " + from);
}

} // namespace

QString runOnHost(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    expect(process.waitForFinished(), program + " does not end");
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

WineMachine::WineMachine(const QString &artefacts)
    : desktop(WINDOWS_ARTEFACTS "/" + artefacts,
              {environment("DISPLAY"), environment("TMC_FRAME_BUFFER")}),
      m_artefacts(WINDOWS_ARTEFACTS "/" + artefacts),
      m_prefix(environment("WINEPREFIX")),
      m_wine(environment("TMC_WINE"))
{
    // A window that has just appeared is painted a moment later here.
    desktop.setStillness(400);
    const QStringList users =
        QDir(driveC() + "/users").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &user : users) {
        if (user != "Public")
            m_roaming = driveC() + "/users/" + user + "/AppData/Roaming";
    }

    QDir(hostFolder()).removeRecursively();
    runOnHost("unzip", {"-q", "-o", WINDOWS_ARCHIVE, "-d", driveC() + "/Program Files"});
    expect(QFile::exists(hostFolder() + "/TolvaneDialler.exe"),
           "The program is not in the archive " WINDOWS_ARCHIVE);
    const QDir doubles(WINDOWS_DOUBLES);
    for (const char *name : doubledLibraries)
        copyOver(doubles.filePath(QString(name) + ".dll"), hostFolder() + '/' + name + ".dll");
    copyOver(doubles.filePath("InstallDriver.exe"), hostFolder() + "/drivers/InstallDriver.exe");
    for (const char *name : {"modem_inf_32.inf", "modem_inf_64.inf"})
        writeFile(hostFolder() + "/drivers/" + name, "[Version]\r\nClass=Modem\r\n");
    copyOver(WINDOWS_SETUP_STEPS, hostFolder() + "/setup-steps.exe");
    copyOver(WINDOWS_PLATFORM_CALLS, hostFolder() + "/platform-calls.exe");
    reset();
    m_taskbar.start(m_wine, {WINDOWS_TASKBAR});
    expect(m_taskbar.waitForStarted(), "The taskbar does not start");
}

WineMachine::~WineMachine()
{
    stop();
    m_taskbar.kill();
    m_taskbar.waitForFinished();
}

void WineMachine::reset()
{
    stop();
    QDir(QFileInfo(settingsFile()).path()).removeRecursively();
    QDir(QFileInfo(messagesFolder()).path()).removeRecursively();
    QDir(doublesFolder()).removeRecursively();
    QDir().mkpath(doublesFolder());
    m_missing.clear();
    m_readsPend = false;
    m_debug.clear();
    m_printed.clear();
    setPort(7, {});
}

void WineMachine::setMachine(const QStringList &lines)
{
    writeFile(doublesFolder() + "/machine.txt", lines.join('\n').toUtf8() + '\n');
}

void WineMachine::setConnections(const QStringList &names)
{
    writeFile(doublesFolder() + "/connections.txt", names.join('\n').toUtf8() + '\n');
}

QStringList WineMachine::connections() const
{
    return QString::fromUtf8(readFile(doublesFolder() + "/connections.txt"))
        .split('\n', Qt::SkipEmptyParts);
}

void WineMachine::setSettings(const QMap<QString, QString> &values)
{
    QString general = "[General]\n";
    QString ports = "\n[ports]\n";
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (value.key().startsWith("ports/"))
            ports += value.key().mid(6) + '=' + value.value() + '\n';
        else
            general += value.key() + '=' + value.value() + '\n';
    }
    writeFile(settingsFile(), (general + ports).toUtf8());
}

QString WineMachine::settingsText() const
{
    return unixLines(readFile(settingsFile()));
}

QString WineMachine::setting(const QString &key) const
{
    const QString name = key.section('/', -1);
    const QString group = key.contains('/') ? key.section('/', 0, 0) : "General";
    QString current;
    for (const QString &line : settingsText().split('\n')) {
        if (line.startsWith('['))
            current = line.mid(1, line.size() - 2);
        else if (current == group && line.startsWith(name + '='))
            return line.mid(name.size() + 1);
    }
    return {};
}

void WineMachine::setPort(int number, const QString &target)
{
    const QString link = QString("%1/dosdevices/com%2").arg(m_prefix).arg(number);
    QFile::remove(link);
    expect(target.isEmpty() || QFile::link(target, link), "Cannot link " + link);
}

void WineMachine::setWindowsVersion(const QString &version)
{
    const QString key = "HKCU\\Software\\Wine\\AppDefaults\\TolvaneDialler.exe";
    if (version.isEmpty())
        run("reg", {"delete", key, "/f"});
    else
        run("reg", {"add", key, "/v", "Version", "/d", version, "/f"});
}

void WineMachine::setThemed(bool themed)
{
    run("reg", {"add", "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\ThemeManager", "/v",
                "ThemeActive", "/d", themed ? "1" : "0", "/f"});
}

void WineMachine::setScaling(int percent)
{
    constexpr int fullScale = 96; // dots per inch
    run("reg", {"add", "HKCU\\Control Panel\\Desktop", "/v", "LogPixels", "/t", "REG_DWORD", "/d",
                QString::number(fullScale * percent / 100), "/f"});
}

void WineMachine::setReadsPend(bool pend)
{
    m_readsPend = pend;
}

void WineMachine::setMissingLibraries(const QStringList &names)
{
    m_missing = names;
}

void WineMachine::prepare(QProcess &process, bool onDoubles) const
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    QStringList overrides = {variables.value("WINEDLLOVERRIDES")};
    if (onDoubles) {
        for (const char *name : doubledLibraries)
            overrides.append(QString(name) + (m_missing.contains(name) ? "=" : "=n,b"));
    }
    variables.insert("WINEDLLOVERRIDES", overrides.join(';'));
    variables.insert("DOUBLES", "C:\\doubles");
    variables.insert("LD_PRELOAD", WINDOWS_SERIAL_PRELOAD);
    if (m_readsPend)
        variables.insert("SERIAL_READS_PEND", "1");
    process.setProcessEnvironment(variables);
    // Not the program's folder: where a process is started from and where it
    // lies are two things.
    process.setWorkingDirectory(driveC());
}

void WineMachine::start(const QString &program)
{
    prepare(m_program, true);
    m_debug.clear();
    m_printed.clear();
    m_program.start(m_wine, {program.isEmpty() ? folder() + "\\TolvaneDialler.exe" : program});
    expect(m_program.waitForStarted(), "The program does not start");
}

WindowId WineMachine::startUntil(const QString &title, const QString &program)
{
    start(program);
    return desktop.waitForWindow(title, StartPatience);
}

void WineMachine::startBeside()
{
    prepare(m_programBeside, true);
    m_programBeside.start(m_wine, {folder() + "\\TolvaneDialler.exe"});
    expect(m_programBeside.waitForStarted(), "The program does not start once more");
}

int WineMachine::run(const QString &program, const QStringList &arguments, QString *output)
{
    ChildProcess process;
    prepare(process, program.startsWith(folder()));
    process.start(m_wine, QStringList{program} + arguments);
    expect(process.waitForFinished(StartPatience), program + " does not end");
    expect(process.exitStatus() == QProcess::NormalExit, program + " crashed");
    if (output)
        *output = unixLines(process.readAllStandardOutput() + process.readAllStandardError());
    return process.exitCode();
}

bool WineMachine::hasEnded()
{
    return m_program.state() == QProcess::NotRunning || m_program.waitForFinished(1);
}

QString WineMachine::fate()
{
    if (hasEnded())
        return QString("The program %1 with %2.")
            .arg(m_program.exitStatus() == QProcess::NormalExit ? "ended" : "crashed")
            .arg(m_program.exitCode());
    return "The program runs. The processes of Wine:\n" +
           runOnHost("sh", {"-c", "ps -eo pid,ppid,stat,etime,wchan:24,args | grep '[.]exe'"});
}

int WineMachine::waitForExit()
{
    waitFor("The program's end", [this] { return hasEnded(); });
    expect(m_program.exitStatus() == QProcess::NormalExit, "The program crashed");
    return m_program.exitCode();
}

void WineMachine::stop()
{
    if (m_programBeside.state() != QProcess::NotRunning) {
        m_programBeside.kill();
        m_programBeside.waitForFinished();
    }
    if (hasEnded())
        return;
    m_program.kill();
    m_program.waitForFinished();
}

QStringList WineMachine::calls() const
{
    static const QRegularExpression ofTheStart(
        "^(ConvertStringSecurityDescriptorToSecurityDescriptorW|CreateEventW name="
        "|IsUserAnAdmin|AllowSetForegroundWindow|SetEvent|CloseHandle named)");
    QStringList calls = allCalls();
    for (const QString &call : calls.filter(ofTheStart))
        calls.removeOne(call);
    return calls;
}

QStringList WineMachine::allCalls() const
{
    return QString::fromUtf8(readFile(doublesFolder() + "/calls.log"))
        .split('\n', Qt::SkipEmptyParts);
}

void WineMachine::waitForCall(const QString &pattern, int timeout) const
{
    const QRegularExpression expression(pattern);
    waitFor(
        "The call " + pattern, [&] { return !calls().filter(expression).isEmpty(); }, timeout);
}

void WineMachine::readOutput()
{
    if (!m_program.isOpen())
        return;
    // What the program has written so far is taken from the pipes by events.
    QCoreApplication::processEvents();
    m_debug += m_program.readAllStandardError();
    m_printed += m_program.readAllStandardOutput();
}

QString WineMachine::debug()
{
    readOutput();
    return unixLines(m_debug);
}

QString WineMachine::printed()
{
    readOutput();
    return unixLines(m_printed);
}

void WineMachine::waitForDebug(const QString &text, int timeout)
{
    waitFor(
        '"' + text + "\" in the log", [&] { return debug().contains(text); }, timeout);
}

QString WineMachine::folder() const
{
    return "C:\\" + QString(packageFolder).replace('/', '\\');
}

QString WineMachine::hostFolder() const
{
    return driveC() + '/' + packageFolder;
}

QString WineMachine::driveC() const
{
    return m_prefix + "/drive_c";
}

QString WineMachine::settingsFile() const
{
    return m_roaming + "/Brantiq Developer Network/Tolvane Modem Connector.ini";
}

QString WineMachine::messagesFolder() const
{
    return QFileInfo(m_roaming).path() + "/Local/Brantiq Developer Network/Tolvane Modem Connector";
}

QStringList WineMachine::messageFiles() const
{
    QStringList contents;
    const QFileInfoList files = QDir(messagesFolder()).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &file : files)
        contents.append(unixLines(readFile(file.filePath())));
    return contents;
}

QString WineMachine::doublesFolder() const
{
    return driveC() + "/doubles";
}

void WineMachine::openMenu(const WindowId &window, const QString &key)
{
    // A menu is one more window of the program.
    const auto before = desktop.visibleWindows().size();
    desktop.pressUntil(window, key, "An open menu",
                       [&] { return desktop.visibleWindows().size() > before; });
}

void WineMachine::keepLogs(const QString &name)
{
    const QString base = m_artefacts + '/' + QString(name).replace(' ', '-');
    writeFile(base + ".calls.txt", allCalls().join('\n').toUtf8() + '\n');
    writeFile(base + ".debug.txt", debug().toUtf8());
    writeFile(base + ".printed.txt", printed().toUtf8());
    writeFile(base + ".settings.txt", settingsText().toUtf8());
}
