// Dialling, the connection and its end, as a person does and sees them, on a
// simulated PC with the virtual phone; and what the machine remembers.

#include "tests/desktop/waiting.h"
#include "tests/endtoend/scenario.h"

#include <QElapsedTimer>
#include <QTest>

class EndToEndConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void secondStart();
    void unpluggedStart();
    void connectionUpAtStart();
    void wrongApn();
    void silentModem();
    void unpluggedWhileWaiting();
    void misbehavingPhone_data();
    void misbehavingPhone();
    void hangUpFails();
    void newConnectionFromEveryState();
};

namespace {

const char entryName[] = "TolvaneModem 1";

// What the start finds on the prepared PC while the phone is plugged in.
const QByteArray portFoundLog = "Got Device  \"Communications Port (COM1)\"\n"
                                "Got Device  \"USB Modem Driver (COM5)\"\n"
                                "Got Port  5\n"
                                "Msg from  \"SetCurrentPortSettings\"  -  \"port 5 available\" \n"
                                "\n";
const QByteArray noPortLog = "Got Device  \"Communications Port (COM1)\"\n"
                             "ERROR  \"SetCurrentPortSettings\"  -  No ports available \n"
                             "\n";

// How the program reports a wait on a line that is gone (1167: not connected).
const QByteArray waitFailed = "Waiting for single object failed with error no 1167\n";

/// Connects and closes the program: the connection is the system's and stays.
void connectAndClose(Session &session)
{
    session.machine.startPhone();
    session.startProgram();
    session.pressButton();
    session.waitUntilConnected();
    session.desktop.close(session.mainWindow());
    session.machine.waitForProgramEnd(patience);
    expect(session.machine.connectionCount() == 1, "The connection ended with the program");
}

/// Waits until the program has just looked for the port by itself. Its next
/// look is seconds away: a phone plugged in now is found by the button.
void waitForPortPoll(const Session &session)
{
    const auto looked = session.machine.log().size();
    session.machine.waitForLog("Checking port availability", looked);
}

/// What the machine's own tool says when it cannot connect either; it dials as
/// the dialog does.
QString refusalOf(const Session &session)
{
    try {
        session.machine.pc({"dial", entryName});
    } catch (const NotAsExpected &error) {
        return QString::fromUtf8(error.what());
    }
    return QString();
}

/// In the dial dialog of a phone that is gone: the error is said there, and the
/// dialog is left by Cancel.
void expectMissingPort(Session &session)
{
    session.waitForDialError();
    session.desktop.keepPicture("missing-port");
    session.cancelDial();
    session.waitForFace(Face::ConnectNow);
    expect(session.machine.connectionCount() == 0, "Connected through a phone that is gone");
    // The number that the dialog shows, where it can be read.
    expect(refusalOf(session).contains("error 633"), "The missing port is not the error");
}

} // namespace

// One run for everything that takes the program's own seconds. Nobody touches
// mouse or keyboard: the program connects by itself.
void EndToEndConnectionTest::secondStart()
{
    onPreparedPc("second-start", [](Session &session) {
        Machine &machine = session.machine;
        machine.setSetting("CurrentMobileOperator", "GrameenPhone");
        machine.startPhone();
        session.startProgram();
        const WindowId window = session.desktop.waitForWindow(MainTitle);
        const qint64 shown = machine.timeSinceStart();
        session.mainWindow();
        session.waitForFace(Face::ConnectNow);
        const QRect bar(10, 151, 221, 23);
        const QImage atFirst = session.desktop.picture(window, bar);
        waitFor("A countdown", [&] { return session.desktop.picture(window, bar) != atFirst; });
        session.desktop.keepPicture("countdown");
        // Ten ticks a second: what counts few wake-ups below does count them.
        const qint64 countingDown = machine.programWakeUps();
        waitFor(
            "Ticks", [&] { return machine.programWakeUps() > countingDown + 20; }, 5000);
        QCOMPARE(machine.log(),
                 portFoundLog + "connection name in reg:  \"TolvaneModem 1\"\n"
                                "in isDialupConnectionConnected, connName:  \"TolvaneModem 1\"\n"
                                "Msg from  isDialupConnectionConnected  -  "
                                "\"No of Connections = 0\" \n"
                                "\n"
                                "The following RAS connections are currently active: \n"
                                "\n");

        // 101 ticks of 100 ms. The toolkit may be 5 % off, and a busy machine
        // dials when it comes to it.
        waitFor(
            "The end of the countdown", [&] { return !machine.heard().isEmpty(); }, 30000);
        const qint64 counted = machine.timeSinceStart() - shown;
        qInfo("From the window to the phone: %d ms", static_cast<int>(counted));
        QVERIFY(counted > 9000);
        QVERIFY(counted < 30000);
        session.waitUntilConnected();
        QElapsedTimer connected;
        connected.start();
        session.desktop.keepPicture("connected");
        QCOMPARE(machine.heard(), heardWhenDialling("gpinternet"));
        QCOMPARE(session.machine.connectionCount(), 1);
        QCOMPARE(machine.setting("CurrentMobileOperator").toString(), QString("GrameenPhone"));

        QVERIFY(wakeUpsWhenIdle(session, "connected") < FewWakeUps);

        // Nobody tells the program that the phone is gone; the poll finds out.
        machine.phone("unplug");
        QVERIFY(session.shows(Face::Disconnect));
        session.waitForFace(Face::ConnectNow, 11000);
        QVERIFY(connected.elapsed() > 8000);
        session.desktop.keepPicture("phone-unplugged");

        QVERIFY(wakeUpsWhenIdle(session, "disconnected") < FewWakeUps);
        QVERIFY(machine.isProgramRunning());
    });
}

void EndToEndConnectionTest::unpluggedStart()
{
    onPreparedPc("unplugged-start", [](Session &session) {
        Machine &machine = session.machine;
        session.startProgram();
        session.mainWindow();
        session.learnFace(Face::CheckConnection);
        session.desktop.keepPicture("waiting-for-port");
        QCOMPARE(machine.log(), noPortLog);
        QCOMPARE(machine.setting("CurrentPort").toInt(), 0);
        QVERIFY(wakeUpsWhenIdle(session, "waiting for the port") < FewWakeUps);

        // By the button: at once, and without a phone nothing changes.
        const auto looked = machine.log().size();
        session.pressButton();
        machine.waitForLog("Checking port availability \n\n" + noPortLog, looked);
        QVERIFY(session.shows(Face::CheckConnection));
        machine.startPhone({"--unplugged"});
        waitForPortPoll(session);
        machine.phone("plug");
        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        const WindowId window = session.mainWindow();
        const QRect bar(10, 151, 221, 23);
        const QImage atFirst = session.desktop.picture(window, bar);
        waitFor("A countdown", [&] { return session.desktop.picture(window, bar) != atFirst; });
        session.desktop.keepPicture("countdown");
        QVERIFY(machine.log().endsWith("Checking port availability \n\n" + portFoundLog));
        session.desktop.close(window);
        QCOMPARE(machine.waitForProgramEnd(patience), 0);

        // By the poll.
        machine.phone("unplug");
        session.startProgram();
        session.mainWindow();
        session.waitForFace(Face::CheckConnection);
        const qint64 shown = machine.timeSinceStart();
        machine.phone("plug");
        session.waitForFace(Face::ConnectNow, 8000);
        QVERIFY(machine.timeSinceStart() - shown > 3000);
        QCOMPARE(machine.log(), noPortLog + "Checking port availability \n\n" + portFoundLog);
        QCOMPARE(machine.setting("CurrentPort").toInt(), 5);
    });
}

void EndToEndConnectionTest::connectionUpAtStart()
{
    onPreparedPc("connection-up-at-start", [](Session &session) {
        connectAndClose(session);
        session.startProgram();
        session.mainWindow();
        session.waitForFace(Face::Disconnect);
        session.desktop.keepPicture("connected");
        QVERIFY(session.machine.log().endsWith("\"TolvaneModem 1\"\n ==  \"TolvaneModem 1\" \n\n"));
        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        QCOMPARE(session.machine.connectionCount(), 0);
        QVERIFY(session.machine.heard().endsWith("+++ATH\\r"));
    });
}

void EndToEndConnectionTest::wrongApn()
{
    onPreparedPc("wrong-apn", [](Session &session) {
        session.machine.startPhone({"--accept-apn", "gpinternet"});
        session.startProgram();
        session.mainWindow();
        session.desktop.press("Home"); // the list has the keyboard, and the countdown runs
        session.pressButton();
        session.waitForDialError();
        session.desktop.keepPicture("refused");
        QCOMPARE(session.machine.heard(), heardWhenDialling("blweb"));
        session.cancelDial();
        session.waitForFace(Face::ConnectNow);
        // The number that the dialog shows, where it can be read.
        const QString refusal = refusalOf(session);
        QVERIFY2(refusal.contains("error 678"), qPrintable(refusal));
        QCOMPARE(session.machine.connectionCount(), 0);
        QCOMPARE(session.machine.setting("CurrentMobileOperator").toString(),
                 QString("Banglalink"));

        session.chooseOperator(1);
        session.pressButton();
        session.waitUntilConnected();
        session.desktop.keepPicture("right-operator");
        QCOMPARE(session.machine.connectionCount(), 1);
        QVERIFY(session.machine.heard().endsWith(heardWhenDialling("gpinternet")));
    });
}

// The wait for an answer has no end and blocks the window; what it says
// meanwhile must be on the screen before.
void EndToEndConnectionTest::silentModem()
{
    onPreparedPc("silent-modem", [](Session &session) {
        constexpr int Moment = 700; // milliseconds; a menu opens in a tenth of it
        session.machine.startPhone();
        session.startProgram();
        session.mainWindow();
        QVERIFY(session.helpMenuOpens(patience));
        session.blockWindow();
        session.waitForFace(Face::PleaseWait);
        session.desktop.keepPicture("please-wait");
        const WindowId window = session.mainWindow();
        const QImage waiting = session.desktop.picture(window);
        QVERIFY(!session.helpMenuOpens(Moment));
        QCOMPARE(session.desktop.picture(window), waiting);
        QVERIFY(session.shows(Face::PleaseWait));

        session.machine.phone("set silent off");
        session.waitUntilConnected();
        QCOMPARE(session.machine.heard(), heardWhenDialling("blweb"));
        QVERIFY(session.helpMenuOpens(patience));
    });
}

// A line that goes away ends the wait that nothing else ends.
void EndToEndConnectionTest::unpluggedWhileWaiting()
{
    onPreparedPc("unplugged-while-waiting", [](Session &session) {
        Machine &machine = session.machine;
        machine.startPhone();
        session.startProgram();
        session.mainWindow();
        session.blockWindow();
        session.waitForFace(Face::PleaseWait);
        machine.phone("unplug");
        session.dialDialog();
        QCOMPARE(machine.printed(), QByteArray("\nWriteFile completed immediately.\n") +
                                        waitFailed + "\nWriteFile failed with error 1167.\n" +
                                        waitFailed);
        expectMissingPort(session);
    });
}

void EndToEndConnectionTest::misbehavingPhone_data()
{
    QTest::addColumn<QString>("setting");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<bool>("waits");
    const QByteArray written = "\nWriteFile completed immediately.\n";
    // Only a chunk that is the whole answer is one: the window waits on.
    QTest::newRow("split") << "split 3" << written + "AT\r\n\r\nO\nK\r\n\n" << true;
    QTest::newRow("glued") << "echo glued" << written + "AT\r\r\nOK\r\n\n" << true;
    QTest::newRow("unplug-on") << "unplug-on AT+CGD"
                               << written + "AT\r\n\r\nOK\r\n\n" + written + waitFailed << false;
}

void EndToEndConnectionTest::misbehavingPhone()
{
    QFETCH(QString, setting);
    QFETCH(QByteArray, printed);
    QFETCH(bool, waits);
    onPreparedPc(QString("misbehaving-") + QTest::currentDataTag(), [&](Session &session) {
        constexpr int Moment = 700; // milliseconds; a menu opens in a tenth of it
        Machine &machine = session.machine;
        machine.startPhone();
        session.startProgram();
        session.mainWindow();
        machine.phone("set " + setting);
        session.pressButton();
        waitFor("The answer", [&] { return machine.printed().size() >= printed.size(); });
        if (waits) {
            session.waitForFace(Face::PleaseWait);
            QVERIFY(!session.helpMenuOpens(Moment));
            QVERIFY(session.shows(Face::PleaseWait));
            QCOMPARE(machine.printed(), printed);
            QCOMPARE(machine.heard(), QByteArray("AT\\r"));
            machine.phone("unplug");
            session.dialDialog();
            QVERIFY(machine.printed().endsWith(waitFailed));
        } else {
            session.dialDialog();
            QCOMPARE(machine.printed(), printed);
        }
        expectMissingPort(session);
    });
}

void EndToEndConnectionTest::hangUpFails()
{
    onPreparedPc("hang-up-fails", [](Session &session) {
        connectAndClose(session);
        session.machine.pc({"fault", "add", "RasHangUpW", "6"});
        session.startProgram();
        session.mainWindow();
        session.waitForFace(Face::Disconnect);
        const QByteArray search = "in isDialupConnectionConnected, connName:  \"TolvaneModem 1\"\n";
        const int searches = session.machine.log().count(search);
        session.pressButton();
        waitFor("The hang-up", [&] { return session.machine.log().count(search) > searches; });
        session.waitForFace(Face::Disconnect);
        QCOMPARE(session.machine.connectionCount(), 1);
        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        QCOMPARE(session.machine.connectionCount(), 0);
    });
}

void EndToEndConnectionTest::newConnectionFromEveryState()
{
    onPreparedPc("new-connection", [](Session &session) {
        const auto thereAndBack = [&session](Face face) {
            const WindowId window = session.mainWindow();
            session.waitForFace(face);
            session.desktop.press("ctrl+n");
            const WindowId wizard = session.wizard();
            const QString owner = session.desktop.property(wizard, "WM_TRANSIENT_FOR");
            const QString main = QString::number(window.toLongLong(), 16);
            expect(!owner.contains("0x" + main), "The wizard belongs to a hidden window: " + owner);
            expect(!session.isMainWindowShown(), "The window shows beside the wizard");
            session.desktop.press("Escape");
            session.desktop.waitForNoWindow(WizardTitle);
            session.mainWindow();
            session.waitForFace(face);
        };
        Machine &machine = session.machine;
        session.startProgram();
        session.mainWindow();
        session.learnFace(Face::CheckConnection);
        thereAndBack(Face::CheckConnection);

        machine.startPhone({"--unplugged"});
        waitForPortPoll(session);
        machine.phone("plug");
        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        thereAndBack(Face::ConnectNow);
        session.desktop.keepPicture("countdown-stopped");
        QCOMPARE(machine.heard(), QByteArray());

        session.pressButton();
        session.waitUntilConnected();
        thereAndBack(Face::Disconnect);
        QCOMPARE(session.machine.connectionCount(), 1);

        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        thereAndBack(Face::ConnectNow);
        QCOMPARE(machine.setting("NoOfDialups").toInt(), 1);
    });
}

QTEST_GUILESS_MAIN(EndToEndConnectionTest)
#include "endtoend_connection_test.moc"
