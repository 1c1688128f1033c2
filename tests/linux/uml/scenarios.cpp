// A person at a Linux desktop, with the installed package, a phone on a real
// serial line and a network behind it. Runs in user-mode Linux as root. Each
// scenario begins where every one ends: set up, nothing connected.

#include "platform/linux/configmanager.h"
#include "tests/desktop/waiting.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/person.h"
#include "tests/linux/guest/phone.h"
#include "tests/linux/uml/serialphone.h"

#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTest>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char defaultRoute[] = "default via 192.0.2.1 dev dummy0";
const char rightsRule[] = "/etc/polkit-1/rules.d/50-anna.rules";
const char ruleOverride[] = "/etc/udev/rules.d/70-tolvane-modem.rules";

void addUser(const QString &name, const QString &groups)
{
    QStringList arguments{"--create-home"};
    if (!groups.isEmpty())
        arguments += {"--groups", groups};
    runInGuest("useradd", arguments + QStringList{name});
}

} // namespace

class LinuxScenarios : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void networkEndsTheConnection();
    void pppdIsKilled();
    void connectionMadeAndEndedByHand();
    void closingTheProgramKeepsTheConnection();
    void dialIsCancelled();
    void wrongAccessPoint();
    void operatorOfAnotherCountry();
    void networkAsksForNameAndPassword();
    void aPipeInTheLocksPlaceIsNotWaitedFor();
    void portInUseByAnotherProgram();
    void phoneIsUnpluggedAndPluggedIn();
    void ordinaryUserSetsUpAndDials();
    void ordinaryUserWithoutRights();
    void lineIsPulled();
    void udevLooksAtTheLinesAgain();
    void packageIsPurged();

private:
    /// Runs a scenario. What throws fails the test and leaves a picture of the
    /// screen and a list of what runs.
    void scenario(const std::function<void(Person &)> &body);

    // The first three, on which all others stand.
    void firstRun(Person &person);
    void firstDial(Person &person);
    void disconnect(Person &person);

    /// Connects by the button.
    void reconnect(Person &person);
    /// Waits until the link is down and the program shows it.
    void waitForDisconnected(Person &person, const QString &picture);
    /// The program as that user, on a display that is open to all.
    void startAs(Person &person, const QString &user);
    /// What a member of dip and dialout is refused while that entry's link is up.
    void anotherUserMayNot(const QString &entry);
    std::unique_ptr<Person> m_person;
    bool m_hasFailed = false;
    QString m_before; ///< routes and name servers before the first dial
    QImage m_disconnectFace;
};

void LinuxScenarios::scenario(const std::function<void(Person &)> &body)
{
    try {
        body(*m_person);
    } catch (const NotAsExpected &error) {
        m_person->recordFailure();
        QFAIL(error.what());
    }
}

void LinuxScenarios::initTestCase()
{
    try {
        m_person = std::make_unique<Person>(qEnvironmentVariable("PICTURES"));
    } catch (const NotAsExpected &error) {
        QFAIL(error.what());
    }
    scenario([this](Person &person) {
        plugPhone(true);
        firstRun(person);
        firstDial(person);
        disconnect(person);
    });
}

void LinuxScenarios::init()
{
    if (m_hasFailed)
        QSKIP("an earlier scenario failed; this one begins where that should have ended");
}

void LinuxScenarios::cleanup()
{
    m_hasFailed = m_hasFailed || QTest::currentTestFailed();
}

void LinuxScenarios::firstRun(Person &person)
{
    m_before = networkState();
    expect(m_before.contains(defaultRoute), "There is no route that could be taken away");
    person.setUp();

    const int port = setting("CurrentPort").toInt();
    expect(port == 1, QString("The port is COM%1").arg(port));
    expect(setting("ports/1").toString() == "TolvaneModem 1", "No entry for the port");
    expect(QFile::exists("/etc/ppp/peers/tolvane-TolvaneModem_1"), "No peers file");
    expect(contentOf("/var/lib/tolvane-modem-connector/state.json").contains("COM1"),
           "No modem in the state store");
}

void LinuxScenarios::firstDial(Person &person)
{
    person.startProgram();
    person.waitForWindow(mainTitle);
    person.dial(); // comes by itself at the end of the countdown
    expect(contentOf(phoneTranscript).contains(R"(AT+CGDCONT=1,\"IP\",\"blweb\"\r)"),
           "The phone was told no access point");
    fetchPage();
    waitFor("The name server", [] { return contentOf("/etc/resolv.conf").contains("10.9.0.53"); });
    const QString routes = runInGuest("ip", {"route", "get", "198.51.100.1"});
    expect(routes.contains("dev ppp0"), "The routes: " + routes);
    person.desktop.moveMouseAway();
    person.desktop.keepPicture("connected");
    m_disconnectFace = person.face();
    // The poll sees the link.
    const qsizetype from = person.log().size();
    person.waitForLog("No of Connections = 1", from);
}

void LinuxScenarios::disconnect(Person &person)
{
    person.pressMainButton();
    waitFor("The link's end", [] { return !isLinkUp(); });
    waitFor("Route and name servers as before", [this] { return networkState() == m_before; });
    person.waitForOtherFace(m_disconnectFace, "Disconnected");
    person.desktop.keepPicture("disconnected");
    expect(!QFile::exists(linkFile), "The link's file is still there");
}

void LinuxScenarios::reconnect(Person &person)
{
    letLineSettle();
    person.pressMainButton();
    person.dial();
    person.desktop.moveMouseAway();
    waitFor("Connected", [&] { return person.face() == m_disconnectFace; });
    fetchPage();
}

void LinuxScenarios::waitForDisconnected(Person &person, const QString &picture)
{
    waitFor("The link's end", [] { return !isLinkUp(); });
    const qsizetype from = person.log().size();
    person.waitForLog("No of Connections = 0", from);
    person.waitForOtherFace(m_disconnectFace, "Disconnected");
    person.desktop.keepPicture(picture);
}

void LinuxScenarios::startAs(Person &person, const QString &user)
{
    person.startProgram(
        {"runuser", "-u", user, "--", "env", "HOME=/home/" + user, "tolvane-dialler"});
}

void LinuxScenarios::networkEndsTheConnection()
{
    scenario([&](Person &person) {
        reconnect(person);
        const pid_t process = networkProcess();
        expect(process > 0, "The network has no pppd");
        ::kill(process, SIGTERM);
        waitForDisconnected(person, "dropped-by-network");
    });
}

void LinuxScenarios::pppdIsKilled()
{
    scenario([&](Person &person) {
        reconnect(person);
        ::kill(linkProcess(), SIGKILL);
        waitForDisconnected(person, "pppd-killed");
        phone("drop");
        expect(contentOf("/etc/resolv.conf").contains("10.9.0.53"), "There is nothing to repair");
        reconnect(person);
        disconnect(person);
    });
}

void LinuxScenarios::connectionMadeAndEndedByHand()
{
    scenario([&](Person &person) {
        person.endProgram();
        letLineSettle();
        int status = 0;
        const QString output = runInGuest(
            "pppd", {"call", "tolvane-TolvaneModem_1", "/dev/ttyS0", "updetach"}, &status);
        expect(status == 0, "pppd: " + output);
        person.startProgram();
        person.waitForWindow(mainTitle);
        person.desktop.moveMouseAway();
        waitFor("Connected", [&] { return person.face() == m_disconnectFace; });
        fetchPage();
        const QString end = runInGuest("poff", {"tolvane-TolvaneModem_1"}, &status);
        expect(status == 0, "poff: " + end);
        waitForDisconnected(person, "ended-by-hand");
        // The same tool ends what the program dialled.
        reconnect(person);
        runInGuest("poff", {"tolvane-TolvaneModem_1"}, &status);
        expect(status == 0, "poff does not find the program's connection");
        waitForDisconnected(person, "ended-by-poff");
    });
}

void LinuxScenarios::closingTheProgramKeepsTheConnection()
{
    scenario([&](Person &person) {
        reconnect(person);
        person.desktop.close(person.waitForWindow(mainTitle));
        person.waitForProgramEnd();
        expect(isLinkUp(), "The link has gone with the program");
        fetchPage();
        person.startProgram();
        person.waitForWindow(mainTitle);
        person.desktop.moveMouseAway();
        waitFor("Connected", [&] { return person.face() == m_disconnectFace; });
        disconnect(person);
    });
}

void LinuxScenarios::dialIsCancelled()
{
    scenario([&](Person &person) {
        letLineSettle();
        phone("set delay 3000"); // so that the silence comes in time
        person.pressMainButton();
        person.waitForWindow(dialTitle);
        phone("set silent on");
        waitFor("The dialling", [] { return processOf("/usr/sbin/pppd") > 0; });
        person.desktop.press("Escape");
        waitFor("The dialog's end", [&] { return person.desktop.window(dialTitle).isEmpty(); });
        expect(processOf("/usr/sbin/pppd") == 0, "pppd dials on");
        phone("set delay 5");
        phone("set silent off");
        letLineSettle(); // what is answered now was asked by the cancelled dial
        reconnect(person);
        disconnect(person);
    });
}

void LinuxScenarios::wrongAccessPoint()
{
    scenario([&](Person &person) {
        letLineSettle();
        phone("accept-apn elsewhere");
        person.pressMainButton();
        person.dialInVain("wrong-access-point", "operator is the one of the card", 679);
        phone("accept-apn internet,blweb,gpinternet");
        reconnect(person);
        disconnect(person);
    });
}

// As somebody in another country does it, with the keyboard. Then back to the
// operators of the other scenarios.
void LinuxScenarios::operatorOfAnotherCountry()
{
    scenario([&](Person &person) {
        const auto connect = [&](const QString &accessPoint) {
            phone("accept-apn " + accessPoint);
            person.startProgram();
            person.waitForWindow(mainTitle);
            reconnect(person);
            expect(contentOf(phoneTranscript).contains('"' + accessPoint.toLatin1() + "\\\""),
                   "The phone was told another access point");
            disconnect(person);
        };
        person.endProgram();
        person.startProgram({"tolvane-operators"});
        const WindowId window = person.waitForWindow(operatorsTitle);
        person.desktop.press({"b", "r", "a", "s", "i", "l", "space", "o", "i", "Down", "space"});
        person.desktop.keepPicture("operator-chosen");
        person.desktop.press("alt+v");
        // The operator that was chosen so far goes: a box of the same title says so.
        waitFor("The warning", [&] { return person.desktop.window(operatorsTitle) != window; });
        person.desktop.waitForFocus(person.desktop.window(operatorsTitle));
        person.desktop.keepPicture("operator-vanishes");
        person.desktop.press("Return");
        waitFor("The list", [] { return setting("MobileOperators").toMap().size() == 1; });
        person.desktop.keepPicture("operator-saved");
        person.desktop.close(window);
        person.waitForProgramEnd();
        expect(setting("MobileOperators").toMap().value("Oi") == "gprs.oi.com.br",
               "Another operator was stored");
        connect("gprs.oi.com.br");
        person.endProgram();

        int status = 0;
        runInGuest("tolvane-operators", {"--system", "--country", "ng", "--set"}, &status);
        expect(status == 0, "The presets could not be stored");
        runInGuest("tolvane-operators", {"--built-in"}, &status);
        expect(status == 0, "The list could not be removed");
        const QString presets = runInGuest("tolvane-operators", {"--list"});
        expect(presets.contains("MTN = web.gprs.mtnnigeria.net"), "The presets: " + presets);
        runInGuest("tolvane-operators", {"--system", "--built-in"}, &status);
        expect(status == 0, "The presets could not be removed");
        connect("blweb");
        phone("accept-apn internet,blweb,gpinternet");
    });
}

// Phones ask for a name and a password of their own and take any.
void LinuxScenarios::networkAsksForNameAndPassword()
{
    scenario([&](Person &person) {
        for (const char *way : {"require-pap", "require-chap"}) {
            QFile options("/tmp/network-options");
            expect(options.open(QIODevice::WriteOnly), "Cannot write the network's options");
            options.write(way);
            options.close();
            reconnect(person);
            disconnect(person);
        }
        QFile::remove("/tmp/network-options");
    });
}

// Anybody may put it there, and pppd would wait at it for ever.
void LinuxScenarios::aPipeInTheLocksPlaceIsNotWaitedFor()
{
    scenario([&](Person &person) {
        letLineSettle();
        runInGuest("mkfifo", {"/run/lock/LCK..ttyS0"});
        person.pressMainButton();
        person.dialInVain("pipe-in-the-locks-place", "another program may be using it", 633);
        QFile::remove("/run/lock/LCK..ttyS0");
        reconnect(person);
        disconnect(person);
    });
}

void LinuxScenarios::portInUseByAnotherProgram()
{
    scenario([&](Person &person) {
        letLineSettle();
        ChildProcess other;
        other.start("flock", {"--no-fork", "/dev/ttyS0", "sleep", "1000"});
        expect(other.waitForStarted(), "flock does not start");
        waitFor("The port's lock", [] {
            int status = 0;
            runInGuest("flock", {"--nonblock", "/dev/ttyS0", "true"}, &status);
            return status == 1;
        });
        const qsizetype from = person.log().size();
        person.pressMainButton();
        person.waitForLog("CreateFile failed with error  5", from);
        expect(person.desktop.window(dialTitle).isEmpty(), "There is a dial dialog");
        person.waitForWindow(portNoticeTitle);
        person.desktop.keepPicture("port-in-use");
        other.end();
        person.endProgram();
    });
}

void LinuxScenarios::phoneIsUnpluggedAndPluggedIn()
{
    scenario([&](Person &person) {
        plugPhone(false);
        person.startProgram();
        person.waitForWindow(mainTitle);
        person.waitForLog("No ports available");
        person.desktop.keepPicture("waiting-for-phone");
        plugPhone(true);
        person.dial(); // after the next look at the ports and the countdown
        fetchPage();
        person.desktop.moveMouseAway();
        m_disconnectFace = person.face();
        disconnect(person);
        person.endProgram();
    });
}

// The guest has no sessions and nobody to ask for a password: a rule of polkit's
// gives the rights, as the password would.
void LinuxScenarios::ordinaryUserSetsUpAndDials()
{
    scenario([&](Person &person) {
        addUser("anna", "dialout"); // in place of sitting at the computer
        const QString folder = "/home/anna/.config";
        QFile rule(rightsRule);
        expect(rule.open(QIODevice::WriteOnly), "Cannot write polkit's rule");
        rule.write("polkit.addRule(function(action, subject) {\n"
                   "    if (subject.user == 'anna' &&\n"
                   "        (action.id == 'example.brantiq.TolvaneModemConnector.set-up' ||\n"
                   "         action.id == 'example.brantiq.TolvaneModemConnector.connect'))\n"
                   "        return polkit.Result.YES;\n"
                   "});\n");
        rule.close();
        startAs(person, "anna");
        person.waitForWindow(wizardTitle);
        person.desktop.press("Return"); // Next
        waitFor("The set-up", [&] { return setting("NoOfDialups", folder).toInt() == 1; });
        person.desktop.press("Return"); // Finish
        person.waitForWindow(mainTitle);
        person.desktop.keepPicture("set-up-by-a-user");
        person.endProgram();
        expect(QFileInfo(settingsFile(folder)).owner() == "anna", "Whose are the settings?");
        const QString entry =
            QString("tolvane-TolvaneModem_1@%1").arg(QFileInfo("/home/anna").ownerId());
        const QFileInfo peer("/etc/ppp/peers/" + entry);
        expect(peer.isFile() && peer.ownerId() == 0 &&
                   peer.permissions() ==
                       (QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser),
               "Who may read the entry?");

        letLineSettle();
        startAs(person, "anna");
        person.dial();
        fetchPage();
        person.desktop.keepPicture("ordinary-user");
        m_disconnectFace = person.face();
        anotherUserMayNot(entry);
        disconnect(person);
        person.endProgram();
    });
}

void LinuxScenarios::anotherUserMayNot(const QString &entry)
{
    addUser("carl", "dip,dialout");
    const auto answerTo = [](const QStringList &command) {
        int status = 0;
        const QString answer =
            runInGuest("runuser", QStringList{"-u", "carl", "--"} + command, &status);
        return status == 0 ? QString("done") : answer;
    };
    // With a line of his own he could have had the traffic of all.
    expect(answerTo({"pppd", "call", entry, "/dev/pts/0"}).contains("Permission denied"),
           "A member of dip may use the entry");
    expect(answerTo({"kill", QString::number(linkProcess())}) != "done",
           "A member of dip may end the link");
    // Nobody is there to give a password.
    const QString helper = "/usr/lib/tolvane-modem-connector/tolvane-dialler-helper";
    for (const char *role : {"set-up", "connect", "end-others"})
        expect(answerTo({"pkexec", helper, role}).contains("authentication agent"),
               QString("Everybody may %1").arg(role));
    expect(isLinkUp(), "The link is down");
}

void LinuxScenarios::ordinaryUserWithoutRights()
{
    scenario([&](Person &person) {
        addUser("bert", QString());
        startAs(person, "bert");
        person.waitForWindow(wizardTitle);
        person.desktop.press("Return"); // Next
        person.waitForLog("Port INF setup failed.");
        person.desktop.keepPicture("no-rights");
        person.endProgram();
    });
}

void LinuxScenarios::lineIsPulled()
{
    scenario([&](Person &person) {
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
        person.startProgram();
        person.dial();
        m_disconnectFace = person.face();
        QFile request("/share/pull-cable");
        expect(request.open(QIODevice::WriteOnly), "Cannot ask for the cable to be pulled");
        request.close();
        waitForDisconnected(person, "line-pulled");
        person.endProgram();
    });
}

void LinuxScenarios::udevLooksAtTheLinesAgain()
{
    scenario([&](Person &) {
        using namespace platform;
        using namespace platform::linuxsystem;
        const std::chrono::milliseconds longEnough(patience);
        expect(rescanSerialDevices(longEnough) == ConfigSuccess, "The lines were not looked at");
        const pid_t other = ::fork();
        if (other == 0)
            ::_exit(::setresuid(65534, 65534, 65534) == 0 ? int(rescanSerialDevices(longEnough))
                                                          : 0);
        int status = 0;
        expect(::waitpid(other, &status, 0) == other && WEXITSTATUS(status) == ConfigAccessDenied,
               "A user may ask udev");
        runInGuest("udevadm", {"control", "--stop-exec-queue"});
        const ConfigRet late = rescanSerialDevices(std::chrono::seconds(1));
        runInGuest("udevadm", {"control", "--start-exec-queue"});
        runInGuest("udevadm", {"settle"});
        expect(late == ConfigFailure, "An udev that does nothing was not noticed");
    });
}

void LinuxScenarios::packageIsPurged()
{
    scenario([&](Person &) {
        QFile ownRule(ruleOverride);
        expect(ownRule.open(QIODevice::WriteOnly), "Cannot write a rule");
        ownRule.write("# An administrator's own.\n");
        ownRule.close();
        int status = 0;
        const QString output = runInGuest("dpkg", {"--purge", "tolvane-modem-connector"}, &status);
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
                                    rightsRule,
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
    });
}

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--clipboard") == 0) {
        const QGuiApplication application(argc, argv);
        std::fputs(qPrintable(QGuiApplication::clipboard()->text()), stdout);
        return 0;
    }
    // User-mode Linux is slow, and slower on a busy system; a look takes time
    // from what is waited for.
    patience = 180000;
    pauseBetweenLooks = 200;
    qputenv("QTEST_FUNCTION_TIMEOUT", "3600000");
    const QCoreApplication application(argc, argv);
    LinuxScenarios scenarios;
    return QTest::qExec(&scenarios, argc, argv);
}

#include "scenarios.moc"
