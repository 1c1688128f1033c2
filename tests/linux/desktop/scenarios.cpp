// A person at a whole Debian, with its own kernel, USB, ModemManager and
// NetworkManager, another network with a default route, and a phone that is
// plugged in and out. Runs in the virtual machine as root. Each scenario begins
// where every one ends: nothing connected, the program not running, the phone
// unplugged once the package is installed; it brings about what it needs besides.

#include "tests/linux/desktop/scenarios.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/desktop/desktopsystem.h"
#include "tests/linux/desktop/portwatch.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/person.h"
#include "tests/linux/guest/phone.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <functional>

namespace {

const char otherNetwork[] = "default via 10.0.2.2 dev eth0";
// The entry has pppd ask for an echo this often, and give up after four.
constexpr int missedEchoes = 30000; // milliseconds
// ModemManager needs half a minute to get to know a phone.
constexpr int gettingToKnow = 60000; // milliseconds

} // namespace

void DesktopScenarios::scenario(const std::function<void(Person &)> &body)
{
    try {
        body(*m_person);
    } catch (const NotAsExpected &error) {
        m_person->recordFailure();
        note("routes and name servers: " + networkState());
        QFAIL(error.what());
    }
}

void DesktopScenarios::initTestCase()
{
    try {
        m_person = std::make_unique<Person>(qEnvironmentVariable("PICTURES"));
    } catch (const NotAsExpected &error) {
        QFAIL(error.what());
    }
    scenario([](Person &person) {
        person.desktop.setStillness(500); // windows are painted late here
        for (const char *service : {"ModemManager", "NetworkManager", "polkit", "systemd-udevd"})
            must("systemctl", {"is-active", service});
        waitFor("Another network", [] { return networkState().contains(otherNetwork); });
        note("the other network's route: " + runInGuest("ip", {"route", "show", "default"}));
    });
}

void DesktopScenarios::init()
{
    note(QString(QTest::currentTestFunction()) + " begins " +
         contentOf("/proc/uptime").split(' ').first() + " s after the boot");
    m_before = networkState();
}

void DesktopScenarios::cleanup()
{
    try {
        m_person->endProgram();
        // The phone is reached through it, too.
        if (!networkState().contains(otherNetwork))
            must("nmcli", {"connection", "up", "wired"});
        if (const pid_t process = processOf(pppd))
            ::kill(process, SIGTERM);
        waitFor("The end of pppd", [] { return processOf(pppd) == 0; });
        phone("set silent off");
        phone("set unplug-on off");
        phone("set echo on");
        resetNetwork();
        // ModemManager takes half a minute to get to know the phone: what follows
        // without the package installed needs just that.
        if (isInstalled())
            plugPhone(false);
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
    } catch (const NotAsExpected &error) {
        QFAIL(error.what());
    }
}

void DesktopScenarios::setUp(Person &person)
{
    installPackage();
    if (setting("NoOfDialups").toInt() >= 1)
        return;
    plugPhone(true);
    person.setUp();
}

void DesktopScenarios::connectWithProgram(Person &person)
{
    setUp(person);
    plugPhone(true);
    letLineSettle();
    person.startProgram();
    person.pressMainButton(); // does not wait for the countdown
    person.dial();
    fetchPage();
}

void DesktopScenarios::disconnect(Person &person)
{
    const QImage connected = person.face();
    person.pressMainButton();
    waitFor("The link's end", [] { return !isLinkUp(); });
    waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
    person.waitForOtherFace(connected, "Disconnected");
    person.desktop.keepPicture("disconnected");
}

void DesktopScenarios::showHolders(Person &person, const PortWatch &watch, const QString &picture)
{
    const char title[] = "Who has the port";
    const QString known = modems().trimmed();
    ChildProcess board;
    board.setProcessEnvironment(person.desktop.environment());
    board.start("xmessage", {"-title", title, "-buttons", "",
                             QString("$ mmcli --list-modems\n%1\n\n%2 is held by\n  %3")
                                 .arg(known, port, watch.notes().join("\n  "))});
    person.desktop.waitForWindow(title);
    person.desktop.keepPicture(picture);
    board.end();
}

// The way without this program, for comparison: nothing of it is installed.
void DesktopScenarios::networkManagerDialsByItself()
{
    if (isInstalled())
        QSKIP("the package's rule keeps ModemManager off the phone");
    scenario([](Person &person) {
        PortWatch watch(port);
        plugPhone(true);
        const bool isKnown =
            watch.watch(gettingToKnow, [] { return modems().contains("/Modem/"); });
        const double known = watch.seconds();
        showHolders(person, watch, "modemmanager-has-the-phone");
        note("without the package: " + watch.notes().join("; "));
        note(QString("ModemManager after %1 s: %2").arg(known).arg(modems()));
        QVERIFY2(isKnown, "ModemManager does not find a modem");
        note(runInGuest("mmcli", {"--modem", "any"}));
        must("nmcli", {"connection", "add", "type", "gsm", "ifname", "*", "con-name", "phone",
                       "autoconnect", "no", "apn", "internet"});
        int status = 0;
        const QString up =
            runInGuest("nmcli", {"--wait", "45", "connection", "up", "phone"}, &status);
        note(QString("NetworkManager after %1 s: %2").arg(watch.seconds()).arg(up));
        if (status == 0) {
            fetchPage();
            note("a page " + QString::number(watch.seconds()) +
                 " s after plug-in. Steps: two commands, and the access point name has to be "
                 "known. The other network keeps the default route:");
            note(networkState());
        }
        runInGuest("nmcli", {"connection", "delete", "phone"});
        QVERIFY2(status == 0, qPrintable("NetworkManager does not get a connection: " + up));
    });
}

void DesktopScenarios::packageInstalledWithThePhoneThere()
{
    if (isInstalled())
        QSKIP("the package is installed already");
    scenario([](Person &person) {
        PortWatch watch(port);
        plugPhone(true);
        watch.watch(gettingToKnow, [] { return modems().contains("/Modem/"); });
        note(QString("the package is being installed after %1 s").arg(watch.seconds()));
        installPackage();
        // ModemManager was started anew, and looks at all devices once more.
        const bool isFree = watch.holders().isEmpty();
        const bool isTakenAgain = watch.watch(15000, [&] { return !watch.holders().isEmpty(); });
        note("package installed with the phone there: " + watch.notes().join("; "));
        showHolders(person, watch, "package-installed-with-the-phone-there");
        const QString marks = must("udevadm", {"info", "--query=property", port});
        QVERIFY2(marks.contains("TOLVANE_MODEM_PORT=1"), qPrintable(marks));
        QVERIFY2(isFree && !isTakenAgain, qPrintable(watch.notes().join("; ")));
        QVERIFY2(!modems().contains("/Modem/"), qPrintable(modems()));
    });
}

void DesktopScenarios::phonePluggedInAfterThePackage()
{
    scenario([](Person &person) {
        installPackage();
        PortWatch watch(port);
        plugPhone(true);
        note(QString("the port is there %1 s after plug-in").arg(watch.seconds()));
        const bool isTouched =
            watch.watch(15000, [&] { return QFile::exists(port) && !watch.holders().isEmpty(); });
        note("package installed before: " + watch.notes().join("; "));
        showHolders(person, watch, "phone-plugged-in-after-the-package");
        QVERIFY2(!isTouched, qPrintable(watch.notes().join("; ")));
        QVERIFY2(!modems().contains("/Modem/"), qPrintable(modems()));
    });
}

void DesktopScenarios::firstRunAndDial()
{
    scenario([this](Person &person) {
        expect(m_before.contains(otherNetwork) && m_before.contains("metric 100"), m_before);
        installPackage();
        PortWatch watch(port);
        setUp(person);
        plugPhone(true);
        person.startProgram();
        person.waitForWindow(mainTitle);
        person.dial(); // comes by itself at the end of the countdown
        fetchPage();
        note(
            QString("a page %1 s after plug-in, first run included. Steps: Next, Finish. The phone "
                    "gets the default route:")
                .arg(watch.seconds()));
        // pppd's hook writes the name servers after the link is up.
        waitFor("The name server",
                [] { return contentOf("/etc/resolv.conf").contains("10.9.0.53"); });
        const QString state = networkState();
        note(state);
        const QString route = must("ip", {"route", "get", "198.51.100.1"});
        expect(route.contains("dev ppp0"), "The routes: " + state);
        expect(isNamedPageFetched(), "No page by its name");
        expect(!modems().contains("/Modem/"), "ModemManager has the phone, too");
        person.desktop.moveMouseAway();
        person.desktop.keepPicture("connected");
        disconnect(person);
    });
}

// The list begins with operators of another country.
void DesktopScenarios::personInBerlin()
{
    scenario([this](Person &person) {
        setUp(person);
        person.startProgram({"env", "LANG=de_DE.UTF-8", "tolvane-operators"});
        const WindowId window = person.waitForWindow(operatorsTitle);
        person.desktop.press({"n", "e", "t", "z", "c", "l", "u", "b", "Down", "space"});
        person.desktop.keepPicture("german-operator");
        person.desktop.press("alt+v"); // Save
        const auto isStored = [] { return setting("MobileOperators").toMap().size() == 1; };
        const auto hasBox = [&] { return person.desktop.window(operatorsTitle) != window; };
        waitFor("The list, or a box", [&] { return isStored() || hasBox(); });
        if (!isStored()) {
            // The main window has dialled with another operator: the box says what
            // becomes of it.
            person.desktop.waitForFocus(person.desktop.window(operatorsTitle));
            person.desktop.keepPicture("german-operator-instead");
            person.desktop.press("Return");
            waitFor("The list", isStored);
        }
        person.endProgram();

        phone("accept-apn pinternet.interkom.de");
        plugPhone(true);
        person.startProgram();
        person.waitForWindow(mainTitle);
        person.dial(); // comes by itself at the end of the countdown
        fetchPage();
        person.desktop.moveMouseAway();
        person.desktop.keepPicture("connected-in-berlin");
        disconnect(person);
        person.endProgram();
        must("tolvane-operators", {"--built-in"});
        phone("accept-apn internet,blweb,gpinternet");
    });
}

void DesktopScenarios::otherNetworkComesAndGoesDuringACall()
{
    scenario([this](Person &person) {
        const auto isThePhoneUsed = [] {
            fetchPage();
            // NetworkManager writes its own name servers first.
            waitFor("A page by its name", [] { return isNamedPageFetched(); });
        };
        connectWithProgram(person);
        must("nmcli", {"connection", "up", "wired"});
        isThePhoneUsed();
        must("nmcli", {"connection", "down", "wired"});
        isThePhoneUsed();
        must("nmcli", {"connection", "up", "wired"});
        isThePhoneUsed();
        disconnect(person);
        // It is away when the phone hangs up, and comes back afterwards.
        person.pressMainButton();
        person.dial();
        must("nmcli", {"connection", "down", "wired"});
        isThePhoneUsed();
        person.pressMainButton();
        waitFor("No route and no name server", [] {
            const QString state = networkState();
            return !state.contains("default") && !state.contains("nameserver");
        });
        must("nmcli", {"connection", "up", "wired"});
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
    });
}

void DesktopScenarios::nextConnectionRepairsWhatAKilledPppdLeft()
{
    scenario([this](Person &person) {
        connectWithProgram(person);
        waitFor("The name server",
                [] { return contentOf("/etc/resolv.conf").contains("10.9.0.53"); });
        ::kill(processOf(pppd), SIGKILL);
        waitFor("The link's end", [] { return !isLinkUp(); });
        const qsizetype from = person.log().size();
        person.waitForLog("No of Connections = 0", from);
        expect(networkState() != m_before, "There is nothing to repair");
        letLineSettle();
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}

void DesktopScenarios::networkEndsTheCall()
{
    scenario([this](Person &person) {
        connectWithProgram(person);
        QElapsedTimer timer;
        timer.start();
        phone("drop");
        waitFor("The end of pppd", [] { return processOf(pppd) == 0; });
        note(QString("the link has ended %1 ms after the call").arg(timer.elapsed()));
        // Without the carrier-detect line it takes missing echoes, and minutes.
        expect(timer.elapsed() < missedEchoes, "The end of the call was not noticed at once");
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
        person.waitForLog("No of Connections = 0", person.log().size());
        person.desktop.keepPicture("ended-by-the-network");
    });
}

void DesktopScenarios::unpluggedWhileConnectedAndPluggedInElsewhere()
{
    scenario([this](Person &person) {
        connectWithProgram(person);
        QElapsedTimer timer;
        timer.start();
        plugPhone(false);
        waitFor("The end of pppd", [] { return processOf(pppd) == 0; });
        note(QString("the link has ended %1 ms after the unplugging").arg(timer.elapsed()));
        waitFor("Routes and name servers as before", [this] { return networkState() == m_before; });
        person.waitForLog("No of Connections = 0", person.log().size());
        person.desktop.keepPicture("unplugged");
        phone("plug 2");
        waitFor("The port", [] { return QFile::exists(port); });
        person.pressMainButton();
        person.dial();
        fetchPage();
        person.desktop.moveMouseAway();
        person.desktop.keepPicture("connected-in-another-socket");
        disconnect(person);
    });
}

void DesktopScenarios::unpluggedWhileDialling()
{
    scenario([this](Person &person) {
        setUp(person);
        plugPhone(true);
        letLineSettle();
        phone("set unplug-on ATD");
        person.startProgram();
        person.pressMainButton();
        const WindowId window = person.waitForWindow(dialTitle);
        waitFor("The phone is unplugged", [] { return !QFile::exists(port); });
        QElapsedTimer timer;
        timer.start();
        waitFor("The end of pppd", [] { return processOf(pppd) == 0; });
        note(QString("the dial has ended %1 ms after the unplugging").arg(timer.elapsed()));
        waitFor("The reason", [&] { return person.dialogText().contains("Error"); });
        person.desktop.keepPicture("unplugged-while-dialling");
        note("the dialog says: " + person.dialogText());
        person.desktop.pressIn(window, "Escape");
        person.desktop.waitForNoWindow(dialTitle);
    });
}

void DesktopScenarios::unpluggedWhileACommandWaits()
{
    scenario([this](Person &person) {
        setUp(person);
        plugPhone(true);
        letLineSettle();
        phone("set silent on");
        const qsizetype heard = contentOf(phoneTranscript).size();
        person.startProgram();
        person.pressMainButton();
        waitFor("The first command",
                [&] { return contentOf(phoneTranscript).mid(int(heard)).contains(R"("AT\r")"); });
        person.desktop.keepPicture("a-command-waits");
        QElapsedTimer timer;
        timer.start();
        plugPhone(false);
        const WindowId window = person.waitForWindow(dialTitle);
        note(QString("the program goes on %1 ms after the unplugging").arg(timer.elapsed()));
        person.desktop.keepPicture("unplugged-while-a-command-waits");
        person.desktop.pressIn(window, "Escape");
        person.desktop.waitForNoWindow(dialTitle);
        phone("set silent off");
        plugPhone(true);
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}

// An answer is a chunk of its own; others are waited out, as the manual tells.
void DesktopScenarios::answerTogetherWithItsEchoIsTakenForNone()
{
    scenario([this](Person &person) {
        constexpr int moment = 15000; // milliseconds; an answer takes a tenth of a second
        setUp(person);
        plugPhone(true);
        letLineSettle();
        phone("set echo glued");
        const qsizetype start = contentOf(phoneTranscript).size();
        const auto heard = [start] { return contentOf(phoneTranscript).mid(int(start)); };
        person.startProgram();
        person.pressMainButton();
        waitFor("The answer", [&] { return heard().contains(R"("AT\r\r\nOK\r\n")"); });
        const bool goesOn = comesTrue(
            [&] {
                return heard().contains("CGDCONT") || !person.desktop.window(dialTitle).isEmpty();
            },
            moment);
        expect(!goesOn, "The program goes on without an answer that it knows");
        person.desktop.keepPicture("answer-together-with-its-echo");
        // The manual's remedy.
        plugPhone(false);
        const WindowId window = person.waitForWindow(dialTitle);
        person.desktop.pressIn(window, "Escape");
        person.desktop.waitForNoWindow(dialTitle);
        phone("set echo on");
        plugPhone(true);
        person.pressMainButton();
        person.dial();
        fetchPage();
        disconnect(person);
    });
}

// From here on the system has another name service: this comes last.
void DesktopScenarios::namesWithSystemdResolved()
{
    scenario([this](Person &person) {
        QStringList packages;
        for (const QString &name : QDir("/opt/later").entryList({"*.deb"}))
            packages += "/opt/later/" + name;
        must("dpkg", QStringList{"--install"} + packages);
        must("systemctl", {"reload", "dbus"});
        must("systemctl", {"restart", "systemd-resolved", "NetworkManager"});
        waitFor("The other network",
                [] { return runInGuest("resolvectl", {"status"}).contains("10.0.2.3"); });
        m_before = networkState();
        connectWithProgram(person);
        note(runInGuest("resolvectl", {"status"}));
        waitFor("A page by its name", [] { return isNamedPageFetched(); });
        disconnect(person);
    });
}

int main(int argc, char *argv[])
{
    if (argc == 2 && qstrcmp(argv[1], "--clipboard") == 0) {
        const QGuiApplication application(argc, argv);
        std::fputs(qPrintable(QGuiApplication::clipboard()->text()), stdout);
        return 0;
    }
    // The processor is emulated; a look takes time from what is waited for.
    patience = 120000;
    pauseBetweenLooks = 200;
    qputenv("QTEST_FUNCTION_TIMEOUT", "600000");
    const QCoreApplication application(argc, argv);
    DesktopScenarios scenarios;
    return QTest::qExec(&scenarios, argc, argv);
}
