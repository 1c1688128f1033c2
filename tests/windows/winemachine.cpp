#include "tests/windows/winemachine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

namespace {

const char packageFolder[] = "Program Files/TolvaneModemConnector";
const char artefacts[] = WINDOWS_ARTEFACTS;
const char *const doubledLibraries[] = {"rasapi32", "rasdlg", "setupapi", "newdev", "cfgmgr32"};

QString environment(const char *name)
{
    const QByteArray value = qgetenv(name);
    if (value.isEmpty())
        qFatal("%s is not set; run the tests through scripts/windows test", name);
    return QString::fromLocal8Bit(value);
}

void writeFile(const QString &path, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(path).path());
    // Written beside and moved into place: a double that reads at this moment
    // sees the old state or the new one.
    QFile file(path + ".new");
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        qFatal("%s cannot be written", qPrintable(path));
    file.close();
    QFile::remove(path);
    if (!file.rename(path))
        qFatal("%s cannot be replaced", qPrintable(path));
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
    if (!QFile::copy(from, to))
        qFatal("%s cannot be copied", qPrintable(from));
}

/// The ids of the visible windows of that title, one a line.
QString visibleWindows(const QString &title)
{
    // The toolkit of the installer puts a blank behind some titles.
    const QString name = '^' + QRegularExpression::escape(title) + " ?$";
    return runOnHost("xdotool", {"search", "--onlyvisible", "--name", name});
}

} // namespace

QString runOnHost(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished())
        qFatal("%s does not end", qPrintable(program));
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

WineMachine::WineMachine() : m_prefix(environment("WINEPREFIX")), m_wine(environment("TMC_WINE"))
{
    environment("DISPLAY");
    QDir().mkpath(artefacts);
    const QStringList users =
        QDir(driveC() + "/users").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &user : users) {
        if (user != "Public")
            m_roaming = driveC() + "/users/" + user + "/AppData/Roaming";
    }

    QDir(hostFolder()).removeRecursively();
    runOnHost("unzip", {"-q", "-o", WINDOWS_ARCHIVE, "-d", driveC() + "/Program Files"});
    if (!QFile::exists(hostFolder() + "/TolvaneDialler.exe"))
        qFatal("the archive %s does not hold the program", WINDOWS_ARCHIVE);
    const QDir doubles(WINDOWS_DOUBLES);
    for (const char *name : doubledLibraries)
        copyOver(doubles.filePath(QString(name) + ".dll"), hostFolder() + '/' + name + ".dll");
    copyOver(doubles.filePath("InstallDriver.exe"), hostFolder() + "/drivers/InstallDriver.exe");
    for (const char *name : {"modem_inf_32.inf", "modem_inf_64.inf"})
        writeFile(hostFolder() + "/drivers/" + name, "[Version]\r\nClass=Modem\r\n");
    copyOver(WINDOWS_SETUP_STEPS, hostFolder() + "/setup-steps.exe");
    reset();
    m_taskbar.start(m_wine, {WINDOWS_TASKBAR});
    if (!m_taskbar.waitForStarted())
        qFatal("%s does not start", WINDOWS_TASKBAR);
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
    QDir(doublesFolder()).removeRecursively();
    QDir().mkpath(doublesFolder());
    m_missing.clear();
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
    if (!target.isEmpty() && !QFile::link(target, link))
        qFatal("%s cannot be linked", qPrintable(link));
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
    process.setProcessEnvironment(variables);
    // Not the program's folder: where a process is started from and where it
    // lies are two things.
    process.setWorkingDirectory(driveC());
}

bool WineMachine::start(const QString &program)
{
    prepare(m_program, true);
    m_debug.clear();
    m_printed.clear();
    m_program.start(m_wine, {program.isEmpty() ? folder() + "\\TolvaneDialler.exe" : program});
    return m_program.waitForStarted();
}

QString WineMachine::startUntil(const QString &title, const QString &program)
{
    return start(program) ? waitForWindow(title, 60000) : QString();
}

int WineMachine::run(const QString &program, const QStringList &arguments, int milliseconds)
{
    QProcess process;
    prepare(process, program.startsWith(folder()));
    process.start(m_wine, QStringList{program} + arguments);
    if (!process.waitForFinished(milliseconds)) {
        process.kill();
        process.waitForFinished();
        return -1;
    }
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool WineMachine::hasEnded()
{
    return m_program.state() == QProcess::NotRunning || m_program.waitForFinished(1);
}

int WineMachine::waitForExit(int milliseconds)
{
    if (m_program.state() != QProcess::NotRunning && !m_program.waitForFinished(milliseconds))
        return -1;
    return m_program.exitStatus() == QProcess::NormalExit ? m_program.exitCode() : -1;
}

void WineMachine::stop()
{
    if (hasEnded())
        return;
    m_program.kill();
    m_program.waitForFinished();
}

QStringList WineMachine::calls() const
{
    return QString::fromUtf8(readFile(doublesFolder() + "/calls.log"))
        .split('\n', Qt::SkipEmptyParts);
}

bool WineMachine::waitForCall(const QString &pattern, int milliseconds)
{
    const QRegularExpression expression(pattern);
    return QTest::qWaitFor([&] { return !calls().filter(expression).isEmpty(); }, milliseconds);
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

bool WineMachine::waitForDebug(const QString &text, int milliseconds)
{
    return QTest::qWaitFor([&] { return debug().contains(text); }, milliseconds);
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

QString WineMachine::doublesFolder() const
{
    return driveC() + "/doubles";
}

QString WineMachine::waitForWindow(const QString &title, int milliseconds)
{
    QString found;
    const bool appeared = QTest::qWaitFor(
        [&] {
            found = visibleWindows(title).section('\n', -1);
            return !found.isEmpty();
        },
        milliseconds);
    return appeared ? found : QString();
}

bool WineMachine::waitForNoWindow(const QString &title, int milliseconds)
{
    return QTest::qWaitFor([&] { return visibleWindows(title).isEmpty(); }, milliseconds);
}

QSize WineMachine::sizeOf(const QString &window) const
{
    const QString geometry = runOnHost("xdotool", {"getwindowgeometry", "--shell", window});
    const auto value = [&geometry](const char *name) {
        const QRegularExpression line(QString("^%1=(\\d+)$").arg(name),
                                      QRegularExpression::MultilineOption);
        return line.match(geometry).captured(1).toInt();
    };
    return {value("WIDTH"), value("HEIGHT")};
}

void WineMachine::press(const QString &window, const QString &key)
{
    runOnHost("xdotool", {"windowactivate", "--sync", window});
    runOnHost("xdotool", {"key", "--clearmodifiers", key});
}

bool WineMachine::pressUntil(const QString &window, const QString &key,
                             const std::function<bool()> &done)
{
    for (int i = 0; i < 5; ++i) {
        press(window, key);
        if (QTest::qWaitFor(done, 4000))
            return true;
    }
    return false;
}

bool WineMachine::openMenu(const QString &window, const QString &key)
{
    // A menu is one more window of the program.
    const auto windows = [] {
        return runOnHost("xdotool", {"search", "--onlyvisible", "--class", "tolvanedialler"});
    };
    const QString before = windows();
    return pressUntil(window, key, [&] { return windows().size() > before.size(); });
}

void WineMachine::click(const QString &window, int x, int y)
{
    runOnHost("xdotool", {"windowactivate", "--sync", window, "mousemove", "--window", window,
                          QString::number(x), QString::number(y), "click", "1"});
}

void WineMachine::screenshot(const QString &name, Picture picture)
{
    const QString file = QString("%1/%2.png").arg(artefacts, QString(name).replace(' ', '-'));
    // A window that has just appeared is painted a moment later: the picture is
    // taken once it stands still.
    QByteArray before;
    const bool stands = QTest::qWaitFor(
        [&] {
            runOnHost("import",
                      {"-window", "root", "-define", "png:exclude-chunks=date,time", file});
            const QByteArray now = readFile(file);
            const bool same = now == before;
            before = now;
            if (!same)
                QTest::qWait(400);
            return same;
        },
        picture == Moving ? 1500 : 8000);
    if (!stands && picture == StandingStill)
        qInfo("the screen kept changing: %s", qPrintable(file));
}

void WineMachine::keepLogs(const QString &name)
{
    const QString base = QString("%1/%2").arg(artefacts, QString(name).replace(' ', '-'));
    writeFile(base + ".calls.txt", calls().join('\n').toUtf8() + '\n');
    writeFile(base + ".debug.txt", debug().toUtf8());
    writeFile(base + ".printed.txt", printed().toUtf8());
    writeFile(base + ".settings.txt", settingsText().toUtf8());
}
