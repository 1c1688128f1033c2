// A person at a Linux desktop, with the installed package, a phone on a real
// serial line and a network behind it. Runs in user-mode Linux as root.

#include "platform/linux/devicerescan.h"
#include "tests/desktop/desktop.h"
#include "tests/desktop/waiting.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSettings>

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <ifaddrs.h>
#include <memory>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char mainTitle[] = "Tolvane Modem Connector";
const char wizardTitle[] = "Welcome To Tolvane Modem Connector Settings";
const char dialTitle[] = "Connect TolvaneModem 1";
const char pageAddress[] = "http://10.9.0.1/";
const char phoneTranscript[] = "/share/phone.txt";
const char defaultRoute[] = "default via 192.0.2.1 dev dummy0";
const char ruleOverride[] = "/etc/udev/rules.d/70-tolvane-modem.rules";
const char linkFile[] = "/run/ppp-tolvane-TolvaneModem_1.pid";
const char phoneRule[] = "/etc/udev/rules.d/99-phone-on-serial-line.rules";
const QRect mainButton(250, 101, 91, 81);

constexpr int GuestPatience = 180000; // ms; user-mode Linux is slow, and slower on a busy system
constexpr int GuestPause = 200; // ms between two looks: a look takes time from what is waited for

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Waits until the condition holds.
void waitInGuest(const QString &what, const std::function<bool()> &condition)
{
    const auto look = [&condition] {
        if (condition())
            return true;
        QThread::msleep(GuestPause);
        return false;
    };
    waitFor(what, look, GuestPatience);
}

/// Runs a command to its end and returns what it printed.
QString run(const QString &program, const QStringList &arguments, int *status = nullptr)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    expect(process.waitForFinished(GuestPatience), program + " does not end");
    if (status)
        *status = process.exitCode();
    return QString::fromLocal8Bit(process.readAll());
}

/// The phone hangs on a serial line here, as there is no USB: it is there while
/// a rule of an administrator's own marks that line.
void plugPhone(bool plugged)
{
    QFile rule(phoneRule);
    expect(rule.open(QIODevice::WriteOnly), "Cannot write the rule");
    // A property stays until an event comes without it.
    rule.write(plugged ? "KERNEL==\"ttyS0\", ENV{TOLVANE_MODEM_PORT}=\"1\"\n" : "\n");
    rule.close();
    run("udevadm", {"control", "--reload"});
    run("udevadm", {"trigger", "--action=add", "--settle", "/sys/class/tty/ttyS0"});
}

QString phone(const QString &command)
{
    const QString answer = run("/share/virtual-phone", {"--bus", "/tmp/bus", "--send", command});
    expect(answer.startsWith("ok"), "The phone says " + answer);
    return answer;
}

/// Waits until the phone has ended its call, and empties the cable: it keeps
/// what the phone says while nobody has the port open, where a real port would
/// lose it.
void letLineSettle()
{
    waitInGuest("The end of the phone's call",
                [] { return phone("status").contains("carrier=no"); });
    const int line = ::open("/dev/ttyS0", O_RDWR | O_NOCTTY | O_NONBLOCK);
    expect(line >= 0, "Cannot open the line");
    char bytes[256];
    pollfd waiting = {line, POLLIN, 0};
    while (::poll(&waiting, 1, 1000) > 0 && ::read(line, bytes, sizeof bytes) > 0) {
    }
    ::close(line);
}

bool isLinkUp()
{
    ifaddrs *addresses = nullptr;
    expect(::getifaddrs(&addresses) == 0, "Cannot list the addresses");
    bool found = false;
    for (const ifaddrs *entry = addresses; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        in_addr address = {};
        ::inet_pton(AF_INET, "10.9.0.2", &address);
        const auto *own = reinterpret_cast<const sockaddr_in *>(entry->ifa_addr);
        found = found || own->sin_addr.s_addr == address.s_addr;
    }
    ::freeifaddrs(addresses);
    return found;
}

/// The process whose command line begins like this; 0 when there is none.
pid_t processOf(const QByteArray &commandLine)
{
    const QStringList entries = QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs);
    for (const QString &entry : entries) {
        if (contentOf("/proc/" + entry + "/cmdline").replace('\0', ' ').startsWith(commandLine))
            return entry.toInt();
    }
    return 0;
}

void fetchPage()
{
    int status = 0;
    const QString page =
        run("curl", {"--silent", "--show-error", "--max-time", "20", pageAddress}, &status);
    expect(status == 0 && page == "This page came through the phone.\n", "The page: " + page);
}

pid_t linkProcess()
{
    return contentOf(linkFile).split('\n').first().toInt();
}

/// The network's side of the link.
pid_t networkProcess()
{
    return processOf("pppd notty");
}

class Person
{
public:
    explicit Person(const QString &pictures) : desktop(pictures), m_log(pictures + "/program.log")
    {
    }

    void startProgram(const QStringList &command = {"tolvane-dialler"})
    {
        m_program = std::make_unique<ChildProcess>();
        QProcessEnvironment environment = desktop.environment();
        environment.insert("HOME", "/root");
        environment.insert("QT_FORCE_STDERR_LOGGING", "1");
        m_program->setProcessEnvironment(environment);
        m_program->setProcessChannelMode(QProcess::MergedChannels);
        m_program->setStandardOutputFile(m_log, QIODevice::Append);
        m_logStart = contentOf(m_log).size();
        m_program->start(command.first(), command.mid(1));
        expect(m_program->waitForStarted(), "The program does not start");
    }

    void endProgram() { m_program->end(); }

    void waitForProgramEnd()
    {
        waitInGuest("The program's end",
                    [this] { return m_program->state() == QProcess::NotRunning; });
    }

    /// What the program wrote to its debug stream since it was started.
    QByteArray log() const { return contentOf(m_log).mid(int(m_logStart)); }

    void waitForLog(const QByteArray &text, qsizetype from = 0) const
    {
        waitInGuest("In the log: " + QString::fromUtf8(text),
                    [&] { return log().indexOf(text, int(from)) >= 0; });
    }

    WindowId waitForWindow(const char *title) const
    {
        WindowId window;
        waitInGuest(QString("The window \"%1\"").arg(title), [&] {
            window = desktop.window(title);
            return !window.isEmpty();
        });
        desktop.waitForFocus(window);
        return window;
    }

    void pressMainButton() const { desktop.click(waitForWindow(mainTitle), mainButton.center()); }

    /// What the main window's button looks like now.
    QImage face() const
    {
        return desktop.picture(desktop.waitForWindow(mainTitle),
                               mainButton.adjusted(10, 10, -10, -10));
    }

    void waitForOtherFace(const QImage &before, const QString &what) const
    {
        desktop.moveMouseAway();
        waitInGuest(what, [&] { return face() != before; });
    }

    /// Dials in the dialog that is to come; the link is up afterwards.
    void dial()
    {
        waitForWindow(dialTitle);
        desktop.keepPicture("dial-dialog");
        desktop.press("Return");
        waitInGuest("The dialog's end", [this] { return desktop.window(dialTitle).isEmpty(); });
        expect(isLinkUp(), "The dialog has gone without a link");
    }

    /// What the dial dialog says, copied by mouse and keyboard. This program
    /// itself, on the same display, then looks at the clipboard.
    QString dialogText() const
    {
        const WindowId window = desktop.waitForWindow(dialTitle);
        desktop.click(window, QRect(QPoint(), desktop.size(window)).center());
        desktop.press({"ctrl+a", "ctrl+c"});
        QProcess clipboard;
        clipboard.setProcessEnvironment(desktop.environment());
        clipboard.start(QCoreApplication::applicationFilePath(), {"--clipboard"});
        expect(clipboard.waitForFinished(GuestPatience), "Nobody tells the clipboard");
        return QString::fromUtf8(clipboard.readAllStandardOutput());
    }

    /// Dials in the dialog that is to come; it fails with that number and stays.
    void dialInVain(const QString &picture, const QString &words, int error)
    {
        const WindowId window = waitForWindow(dialTitle);
        const QImage before = desktop.picture(window);
        const qsizetype heard = contentOf(phoneTranscript).size();
        desktop.press("Return");
        waitInGuest("The phone's refusal", [&] {
            return contentOf(phoneTranscript).mid(int(heard)).contains("NO CARRIER");
        });
        waitInGuest("The end of pppd", [] { return processOf("/usr/sbin/pppd") == 0; });
        waitInGuest("The reason in the dialog", [&] { return desktop.picture(window) != before; });
        desktop.keepPicture(picture);
        const QString text = dialogText();
        expect(text.contains(words) && text.endsWith(QString("Error %1").arg(error)),
               "The dialog says " + text);
        expect(!isLinkUp(), "There is a link");
        desktop.press("Escape");
        desktop.waitForNoWindow(dialTitle);
    }

    Desktop desktop;

private:
    QString m_log;
    qsizetype m_logStart = 0;
    std::unique_ptr<ChildProcess> m_program;
};

/// The settings below that folder, which stands for a user's ~/.config.
QString settingsFile(const QString &folder)
{
    return folder + "/Brantiq Developer Network/Tolvane Modem Connector.ini";
}

QVariant setting(const QString &key, const QString &folder = "/root/.config")
{
    return QSettings(settingsFile(folder), QSettings::IniFormat).value(key);
}

/// The settings while tolvane-dialler-setup runs; empty when there are none.
QString setUpFolder()
{
    for (const QString &folder : QDir("/tmp").entryList({"tmp.*"}, QDir::Dirs)) {
        if (QFile::exists(settingsFile("/tmp/" + folder)))
            return "/tmp/" + folder;
    }
    return {};
}

/// Every file that was written or made in the guest, except below the folders
/// that are not the package's.
QStringList changedFiles()
{
    const QString output = run("find", {"/changes",
                                        "-path",
                                        "/changes/root",
                                        "-prune",
                                        "-o",
                                        "-path",
                                        "/changes/home",
                                        "-prune",
                                        "-o",
                                        "-path",
                                        "/changes/var/lib/dpkg",
                                        "-prune",
                                        "-o",
                                        "-path",
                                        "/changes/var/cache",
                                        "-prune",
                                        "-o",
                                        "-path",
                                        "/changes/var/log",
                                        "-prune",
                                        "-o",
                                        "(",
                                        "!",
                                        "-type",
                                        "d",
                                        "-o",
                                        "-name",
                                        "*olvane*",
                                        ")",
                                        "-print"});
    return output.split('\n', Qt::SkipEmptyParts);
}

/// The routes and the name servers.
QString networkState()
{
    return run("ip", {"route"}) + contentOf("/etc/resolv.conf");
}

class Scenarios
{
public:
    Scenarios(const QString &pictures, const QStringList &chosen)
        : m_person(pictures), m_chosen(chosen)
    {
    }

    /// What is on the screen and what runs, for who looks for the reason of a
    /// failure.
    void explain()
    {
        m_person.desktop.keepPicture("failure");
        std::fputs(qPrintable(::run("ps", {"axfww", "-o", "pid,user,stat,wchan:24,etime,args"})),
                   stderr);
    }

    void run()
    {
        step("udev is asked to look at the lines again", [] { rescan(); });
        step("first run from the wizard to Finish", [this] { firstRun(); });
        step("countdown, access point, dial, a page through the link", [this] { firstDial(); });
        step("Disconnect gives interface, route and name servers back", [this] { disconnect(); });
        step("the network ends the connection", [this] { dropByNetwork(); });
        step("pppd is killed", [this] { killPppd(); });
        step("a connection made and ended by hand is seen", [this] { byHand(); });
        step("closing the program keeps the connection", [this] { closeProgram(); });
        step("a dial is cancelled", [this] { cancelDial(); });
        step("a wrong access point", [this] { wrongAccessPoint(); });
        step("the network asks for a name and a password", [this] { signIn(); });
        step("the port is in use by another program", [this] { portInUse(); });
        step("the phone is plugged out and in", [this] { phoneAbsent(); });
        step("an ordinary user, set up with sudo, dials without", [this] { ordinaryUser(); });
        step("an ordinary user without rights", [this] { noRights(); });
        step("the line is pulled", [this] { pullLine(); });
        step("the package is purged", [this] { purge(); });
    }

private:
    void step(const QString &name, const std::function<void()> &scenario)
    {
        const auto isNamed = [&name](const QString &part) { return name.contains(part); };
        // Everything stands on the set-up and the first dial.
        const bool isFirst = name.startsWith("first run") || name.startsWith("countdown");
        if (!m_chosen.isEmpty() && !isFirst &&
            std::none_of(m_chosen.begin(), m_chosen.end(), isNamed)) {
            std::printf("scenario: %s: left out, another was asked for\n", qPrintable(name));
            return;
        }
        scenario();
        std::printf("scenario: %s: good\n", qPrintable(name));
        std::fflush(stdout);
    }

    static void rescan()
    {
        using namespace platform;
        const std::chrono::milliseconds patience(GuestPatience);
        expect(rescanSerialDevices(patience) == ConfigSuccess, "The lines were not looked at");
        const pid_t other = ::fork();
        if (other == 0)
            ::_exit(::setresuid(65534, 65534, 65534) == 0 ? int(rescanSerialDevices(patience)) : 0);
        int status = 0;
        expect(::waitpid(other, &status, 0) == other && WEXITSTATUS(status) == ConfigAccessDenied,
               "A user may ask udev");
        ::run("udevadm", {"control", "--stop-exec-queue"});
        const ConfigRet late = rescanSerialDevices(std::chrono::seconds(1));
        ::run("udevadm", {"control", "--start-exec-queue"});
        ::run("udevadm", {"settle"});
        expect(late == ConfigFailure, "An udev that does nothing was not noticed");
    }

    void firstRun()
    {
        plugPhone(true);
        m_before = networkState();
        expect(m_before.contains(defaultRoute), "There is no route that could be taken away");
        m_person.startProgram();
        m_person.waitForWindow(wizardTitle);
        m_person.desktop.keepPicture("wizard");
        m_person.desktop.press("Return"); // Next
        waitInGuest("The set-up", [] { return setting("NoOfDialups").toInt() == 1; });
        m_person.desktop.keepPicture("set-up-done");
        m_person.desktop.press("Return"); // Finish
        m_person.desktop.waitForNoWindow(wizardTitle);
        m_person.waitForWindow(mainTitle);
        m_person.desktop.keepPicture("main-window");
        m_person.endProgram();

        const int port = setting("CurrentPort").toInt();
        expect(port == 1, QString("The port is COM%1").arg(port));
        expect(setting("ports/1").toString() == "TolvaneModem 1", "No entry for the port");
        expect(QFile::exists("/etc/ppp/peers/tolvane-TolvaneModem_1"), "No peers file");
        expect(contentOf("/var/lib/tolvane-modem-connector/state.json").contains("COM1"),
               "No modem in the state store");
    }

    void firstDial()
    {
        m_person.startProgram();
        m_person.waitForWindow(mainTitle);
        m_person.dial(); // comes by itself at the end of the countdown
        expect(contentOf(phoneTranscript).contains(R"(AT+CGDCONT=1,\"IP\",\"blweb\"\r)"),
               "The phone was told no access point");
        fetchPage();
        waitInGuest("The name server",
                    [] { return contentOf("/etc/resolv.conf").contains("10.9.0.53"); });
        const QString routes = ::run("ip", {"route"});
        expect(routes.contains("default dev ppp0") && !routes.contains(defaultRoute),
               "The routes: " + routes);
        m_person.desktop.moveMouseAway();
        m_person.desktop.keepPicture("connected");
        m_disconnectFace = m_person.face();
        // The poll sees the link.
        const qsizetype from = m_person.log().size();
        m_person.waitForLog("No of Connections = 1", from);
    }

    void disconnect()
    {
        m_person.pressMainButton();
        waitInGuest("The link's end", [] { return !isLinkUp(); });
        waitInGuest("Route and name servers as before",
                    [this] { return networkState() == m_before; });
        m_person.waitForOtherFace(m_disconnectFace, "Disconnected");
        m_person.desktop.keepPicture("disconnected");
        expect(!QFile::exists(linkFile), "The link's file is still there");
    }

    void reconnect()
    {
        letLineSettle();
        m_person.pressMainButton();
        m_person.dial();
        m_person.desktop.moveMouseAway();
        waitInGuest("Connected", [this] { return m_person.face() == m_disconnectFace; });
        fetchPage();
    }

    void waitForDisconnected(const QString &picture)
    {
        waitInGuest("The link's end", [] { return !isLinkUp(); });
        const qsizetype from = m_person.log().size();
        m_person.waitForLog("No of Connections = 0", from);
        m_person.waitForOtherFace(m_disconnectFace, "Disconnected");
        m_person.desktop.keepPicture(picture);
    }

    void dropByNetwork()
    {
        reconnect();
        const pid_t process = networkProcess();
        expect(process > 0, "The network has no pppd");
        ::kill(process, SIGTERM);
        waitForDisconnected("dropped-by-network");
    }

    void killPppd()
    {
        reconnect();
        ::kill(linkProcess(), SIGKILL);
        waitForDisconnected("pppd-killed");
        // pppd had no time to put these back.
        QFile::remove(linkFile);
        ::run("cp", {"/tmp/resolv.conf", "/etc/resolv.conf"});
        ::run("ip", QString("route replace %1").arg(defaultRoute).split(' '));
        phone("drop");
    }

    void byHand()
    {
        m_person.endProgram();
        letLineSettle();
        int status = 0;
        const QString output =
            ::run("pppd", {"call", "tolvane-TolvaneModem_1", "/dev/ttyS0", "updetach"}, &status);
        expect(status == 0, "pppd: " + output);
        m_person.startProgram();
        m_person.waitForWindow(mainTitle);
        m_person.desktop.moveMouseAway();
        waitInGuest("Connected", [this] { return m_person.face() == m_disconnectFace; });
        fetchPage();
        const QString end = ::run("poff", {"tolvane-TolvaneModem_1"}, &status);
        expect(status == 0, "poff: " + end);
        waitForDisconnected("ended-by-hand");
        // The same tool ends what the program dialled.
        reconnect();
        ::run("poff", {"tolvane-TolvaneModem_1"}, &status);
        expect(status == 0, "poff does not find the program's connection");
        waitForDisconnected("ended-by-poff");
    }

    void closeProgram()
    {
        reconnect();
        m_person.desktop.close(m_person.waitForWindow(mainTitle));
        m_person.waitForProgramEnd();
        expect(isLinkUp(), "The link has gone with the program");
        fetchPage();
        m_person.startProgram();
        m_person.waitForWindow(mainTitle);
        m_person.desktop.moveMouseAway();
        waitInGuest("Connected", [this] { return m_person.face() == m_disconnectFace; });
        disconnect();
    }

    void cancelDial()
    {
        letLineSettle();
        m_person.pressMainButton();
        m_person.waitForWindow(dialTitle);
        phone("set silent on");
        m_person.desktop.press("Return");
        waitInGuest("The dialling", [] { return processOf("/usr/sbin/pppd") > 0; });
        m_person.desktop.press("Escape");
        waitInGuest("The dialog's end",
                    [this] { return m_person.desktop.window(dialTitle).isEmpty(); });
        expect(processOf("/usr/sbin/pppd") == 0, "pppd dials on");
        phone("set silent off");
        reconnect(); // the port is free again
        disconnect();
    }

    void wrongAccessPoint()
    {
        letLineSettle();
        phone("accept-apn elsewhere");
        m_person.pressMainButton();
        m_person.dialInVain("wrong-access-point", "operator is the one of the card", 679);
        phone("accept-apn internet,blweb,gpinternet");
        reconnect();
        disconnect();
    }

    /// Phones ask for a name and a password of their own and take any.
    void signIn()
    {
        for (const char *way : {"require-pap", "require-chap"}) {
            QFile options("/tmp/network-options");
            expect(options.open(QIODevice::WriteOnly), "Cannot write the network's options");
            options.write(way);
            options.close();
            reconnect();
            disconnect();
        }
        QFile::remove("/tmp/network-options");
    }

    void portInUse()
    {
        letLineSettle();
        ChildProcess other;
        other.start("flock", {"--no-fork", "/dev/ttyS0", "sleep", "1000"});
        expect(other.waitForStarted(), "flock does not start");
        waitInGuest("The port's lock", [] {
            int status = 0;
            ::run("flock", {"--nonblock", "/dev/ttyS0", "true"}, &status);
            return status == 1;
        });
        const qsizetype from = m_person.log().size();
        m_person.pressMainButton();
        m_person.waitForLog("CreateFile failed with error  5", from);
        expect(m_person.desktop.window(dialTitle).isEmpty(), "There is a dial dialog");
        other.end();
        m_person.endProgram();
    }

    void phoneAbsent()
    {
        plugPhone(false);
        m_person.startProgram();
        m_person.waitForWindow(mainTitle);
        m_person.waitForLog("No ports available");
        m_person.desktop.keepPicture("waiting-for-phone");
        plugPhone(true);
        m_person.dial(); // after the next look at the ports and the countdown
        fetchPage();
        m_person.desktop.moveMouseAway();
        m_disconnectFace = m_person.face();
        disconnect();
        m_person.endProgram();
    }

    void addUser(const QString &name, const QString &groups)
    {
        QStringList arguments{"--create-home"};
        if (!groups.isEmpty())
            arguments += {"--groups", groups};
        ::run("useradd", arguments + QStringList{name});
    }

    /// The program as that user, on a display that is open to all.
    void startAs(const QString &user, const QStringList &command = {"tolvane-dialler"})
    {
        m_person.startProgram(
            QStringList{"runuser", "-u", user, "--", "env", "HOME=/home/" + user} + command);
    }

    /// By the administrator's tool, on the settings of the user who asked.
    void setUpFor(const QString &user)
    {
        const QString folder = "/home/" + user + "/.config";
        QFile rights("/etc/sudoers.d/" + user);
        expect(rights.open(QIODevice::WriteOnly), "Cannot write sudo's rights");
        rights.write("Defaults env_keep += QT_FORCE_STDERR_LOGGING\n" + user.toLatin1() +
                     " ALL=(root) NOPASSWD: /usr/sbin/tolvane-dialler-setup\n");
        rights.close();
        startAs(user, {"sudo", "/usr/sbin/tolvane-dialler-setup"});
        m_person.waitForWindow(wizardTitle);
        m_person.desktop.press("Return"); // Next
        waitInGuest("The set-up",
                    [] { return setting("NoOfDialups", setUpFolder()).toInt() == 1; });
        m_person.desktop.press("Return"); // Finish
        const WindowId window = m_person.waitForWindow(mainTitle);
        m_person.desktop.keepPicture("set-up-for-a-user");
        expect(!QFile::exists(settingsFile(folder)), "The settings are there already");
        m_person.desktop.close(window);
        m_person.waitForProgramEnd();
        expect(QFileInfo(settingsFile(folder)).owner() == user, "Whose are the settings?");
        expect(setting("NoOfDialups", folder).toInt() == 1, "No settings for the user");
        expect(setUpFolder().isEmpty(), "Left behind: " + setUpFolder());
        QFile::remove(rights.fileName());
    }

    void ordinaryUser()
    {
        addUser("anna", "dip,dialout");
        setUpFor("anna");
        letLineSettle();
        startAs("anna");
        m_person.dial();
        fetchPage();
        m_person.desktop.keepPicture("ordinary-user");
        m_disconnectFace = m_person.face();
        disconnect();
        m_person.endProgram();
    }

    void noRights()
    {
        addUser("bert", QString());
        startAs("bert");
        m_person.waitForWindow(wizardTitle);
        m_person.desktop.press("Return"); // Next
        m_person.waitForLog("Modem INF setup failed.");
        m_person.desktop.keepPicture("no-rights");
        m_person.endProgram();
        int status = 0;
        const QString answer =
            ::run("runuser", {"-u", "bert", "--", "/usr/sbin/tolvane-dialler-setup"}, &status);
        expect(status == 1 && answer.contains("sudo tolvane-dialler-setup"), answer);
    }

    void pullLine()
    {
        letLineSettle();
        // Nothing but missing echoes tells of a serial line that is pulled: with
        // the entry's own interval that takes two minutes.
        QFile entry("/etc/ppp/peers/tolvane-TolvaneModem_1");
        QByteArray options = contentOf(entry.fileName());
        expect(options.contains("lcp-echo-interval 30\n"), "The entry asks for no echoes");
        options.replace("lcp-echo-interval 30\n", "lcp-echo-interval 5\n");
        expect(entry.open(QIODevice::WriteOnly), "Cannot write the entry");
        entry.write(options);
        entry.close();
        m_person.startProgram();
        m_person.dial();
        m_disconnectFace = m_person.face();
        QFile request("/share/pull-cable");
        expect(request.open(QIODevice::WriteOnly), "Cannot ask for the cable to be pulled");
        request.close();
        waitForDisconnected("line-pulled");
        m_person.endProgram();
    }

    void purge()
    {
        QFile ownRule(ruleOverride);
        expect(ownRule.open(QIODevice::WriteOnly), "Cannot write a rule");
        ownRule.write("# An administrator's own.\n");
        ownRule.close();
        int status = 0;
        const QString output = ::run("dpkg", {"--purge", "tolvane-modem-connector"}, &status);
        expect(status == 0, output);
        expect(ownRule.remove(), "The administrator's rule is gone");
        for (const char *owner : {"/root", "/home/anna"})
            expect(QFile::exists(settingsFile(QString(owner) + "/.config")),
                   QString("The settings in %1 are gone").arg(owner));
        const QStringList atStart =
            QString::fromLocal8Bit(contentOf("/share/changed-before-the-package")).split('\n');
        // What these scenarios, user management and other packages wrote: the
        // network's options, the indexes of icons and of file types, and the
        // name servers that pppd was told.
        const QStringList others = {phoneRule,
                                    "/etc/netns/",
                                    "/etc/passwd",
                                    "/etc/shadow",
                                    "/etc/group",
                                    "/etc/gshadow",
                                    "/etc/subuid",
                                    "/etc/subgid",
                                    "/etc/.pwd.lock",
                                    "/etc/ppp/resolv.conf",
                                    "/var/mail/",
                                    "/usr/share/icons/hicolor/icon-theme.cache",
                                    "/usr/share/applications/mimeinfo.cache"};
        QStringList left;
        for (const QString &file : changedFiles()) {
            const bool isOthers =
                std::any_of(others.begin(), others.end(), [&file](const QString &start) {
                    return file.startsWith("/changes" + start);
                });
            if (!isOthers && !atStart.contains(file))
                left.append(file);
        }
        expect(left.isEmpty(), "Left behind: " + left.join(' '));
    }

    Person m_person;
    const QStringList m_chosen;
    QString m_before;
    QImage m_disconnectFace;
};

} // namespace

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--clipboard") == 0) {
        const QGuiApplication application(argc, argv);
        std::fputs(qPrintable(QGuiApplication::clipboard()->text()), stdout);
        return 0;
    }
    const QCoreApplication application(argc, argv);
    if (argc < 2) {
        std::fputs("Usage: linux_scenarios PICTURES [PART-OF-A-SCENARIO'S-NAME...]\n", stderr);
        return 2;
    }
    try {
        Scenarios scenarios(QString::fromLocal8Bit(argv[1]), QCoreApplication::arguments().mid(2));
        try {
            scenarios.run();
            return 0;
        } catch (const NotAsExpected &error) {
            std::fprintf(stderr, "linux_scenarios: %s\n", error.what());
            scenarios.explain();
        }
    } catch (const NotAsExpected &error) {
        std::fprintf(stderr, "linux_scenarios: %s\n", error.what());
    }
    return 1;
}
