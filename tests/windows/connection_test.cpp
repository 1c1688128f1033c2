// The packaged program with its phone: from the second start over the dial to
// the hang-up, and what the phone may do meanwhile.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace {

const char dialTitle[] = "Connect TolvaneModem 1";

/// The debug stream of one look at the active connections for the first of the
/// program's own.
QString statusDebug(const QStringList &active)
{
    const QString name = "\"TolvaneModem 1\"";
    QString text = "in isDialupConnectionConnected, connName:  " + name +
                   "\nMsg from  isDialupConnectionConnected  -  \"No of Connections = " +
                   QString::number(active.size()) +
                   "\" \n\nThe following RAS connections are currently active: \n\n";
    for (const QString &connection : active) {
        const QString listed = '"' + connection + '"';
        text += listed + "\n " + (listed == name ? "==" : "!=") + "  " + name + " \n\n";
    }
    return text;
}

/// Starts and dials; the dial dialog is open then.
void startAndWaitForDialog(WineMachine &machine)
{
    machine.desktop.pressUntil(machine.startUntil(mainTitle), "ctrl+c", "A dial", [&machine] {
        return machine.debug().contains("is successfully reconfigured.");
    });
    machine.desktop.waitForWindow(dialTitle);
}

} // namespace

class ConnectionTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup() { m_phone->unplug(); }

    void secondStartDialsAndHangsUp();
    void connectionThatIsUpAlready_data();
    void connectionThatIsUpAlready();
    void connectionThatDrops();
    void dialDialogCancelled();
    void closedWhileDialling();
    void inputWhileBlocked();
    void answersThatAreNotAnAnswer_data();
    void answersThatAreNotAnAnswer();
    void modemThatAnswersError();
    void unpluggedAndWaiting();
    void phoneThatSaysNothing();

private:
    std::unique_ptr<WineMachine> m_machine;
    std::unique_ptr<PhoneOnPort> m_phone;
};

void ConnectionTest::initTestCase()
{
    m_machine = newMachine("connection");
    m_phone = std::make_unique<PhoneOnPort>(*m_machine);
    m_machine->setWindowsVersion("win7");
}

void ConnectionTest::cleanupTestCase()
{
    m_phone.reset();
    m_machine.reset();
}

void ConnectionTest::secondStartDialsAndHangsUp()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        m_phone->plugIn();
        const WindowId window = machine.startUntil(mainTitle);
        QElapsedTimer countdown;
        countdown.start();
        desktop.keepPicture("second-start-1-countdown");

        // The countdown runs out by itself.
        const WindowId dialog = desktop.waitForWindow(dialTitle, 30000);
        QVERIFY2(countdown.elapsed() > 8000 && countdown.elapsed() < 16000,
                 qPrintable(QString::number(countdown.elapsed())));
        desktop.keepPicture("second-start-2-dial-dialog");
        QCOMPARE(m_phone->bytesFromPc(),
                 QStringList({"AT\\r", "AT+CGDCONT=1,\\\"IP\\\",\\\"gpinternet\\\"\\r"}));
        const QString dialled = portSearchDebug() +
                                "connection name in reg:  \"TolvaneModem 1\"\n" + statusDebug({}) +
                                portSearchDebug() +
                                "\"\\\\.\\COM7\" \n\n"
                                "Serial port  7  is successfully reconfigured.\n";
        QCOMPARE(machine.debug(), dialled);
        desktop.pressIn(dialog, "Return");
        machine.waitForCall(
            "^RasDialDlgW phonebook=null entry=\"TolvaneModem 1\" behind=zero number=\"\\*99#\" "
            "dwSize=48 rest=zero -> 1$");
        desktop.waitForNoWindow(dialTitle);
        QCOMPARE(machine.connections(), QStringList("TolvaneModem 1"));
        desktop.keepPicture("second-start-3-connected");

        // The status is looked at every ten seconds while connected; the hang-up
        // looks for the connection in the same way.
        const QString look = statusDebug({"TolvaneModem 1"});
        machine.waitForDebug(dialled + look, 15000);
        desktop.pressIn(window, "ctrl+d");
        machine.waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$");
        machine.waitForDebug(dialled + look + look);
        const int looks = (machine.debug().size() - dialled.size()) / look.size();
        QCOMPARE(machine.debug(), dialled + look.repeated(looks));
        QVERIFY(machine.connections().isEmpty());
        desktop.keepPicture("second-start-4-disconnected");
        QCOMPARE(machine.setting("CurrentMobileOperator"), QString("GrameenPhone"));

        const QStringList serial = withoutWaiting(machine.calls().filter(QRegularExpression(
            "^(CreateFileW|GetComm|SetComm|event|WriteFile|ReadFile|CloseHandle)")));
        const QStringList expected = {
            "CreateFileW name=\"\\\\.\\COM7\" behind=zero access=0xC0000000 share=0 security=null "
            "disposition=3 "
            "flags=0x40000000 template=null -> port1",
            "GetCommState port1 record=zero -> result=1",
            "SetCommState port1 BaudRate=9600 ByteSize=8 Parity=0 StopBits=0 others=as-reported "
            "-> result=1",
            "SetCommTimeouts port1 ReadInterval=0xFFFFFFFF ReadMultiplier=0 ReadConstant=0 "
            "WriteMultiplier=0 WriteConstant=0 -> result=1",
            "SetCommMask port1 mask=5 -> result=1",
            "event event1 manual unsignalled unnamed",
            "WriteFile port1 data=\"AT\\r\" count=3 record=zero event1 -> result=1",
            "event event2 manual unsignalled unnamed",
            "ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event2 -> "
            "got=\"\\r\\nOK\\r\\n\"",
            "event event3 manual unsignalled unnamed",
            "WriteFile port1 data=\"AT+CGDCONT=1,\"IP\",\"gpinternet\"\\r\" count=31 record=zero "
            "event3 -> result=1",
            "event event4 manual unsignalled unnamed",
            "ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event4 -> "
            "got=\"\\r\\nOK\\r\\n\"",
            "CloseHandle port1 -> result=1",
        };
        const QString difference = firstDifference(serial, expected);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        QCOMPARE(machine.printed(), QString("\nWriteFile completed immediately.\n\r\nOK\r\n\n"
                                            "\nWriteFile completed immediately.\n\r\nOK\r\n\n"));

        desktop.close(window);
        QCOMPARE(machine.waitForExit(), 0);
        QVERIFY(machine.calls().contains(leftOpen("none", "event1,event2,event3,event4")));
    });
}

void ConnectionTest::connectionThatIsUpAlready_data()
{
    QTest::addColumn<QString>("sizes");
    QTest::addColumn<int>("askedOnceMore");
    QTest::newRow("declared size taken") << "all" << 0;
    // Each look at the connections then asks twice.
    QTest::newRow("declared size refused") << "documented" << 2;
}

void ConnectionTest::connectionThatIsUpAlready()
{
    QFETCH(QString, sizes);
    QFETCH(int, askedOnceMore);
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        machine.setMachine(machineWithPhone() + QStringList{"connectionsizes " + sizes});
        machine.setConnections({"Office", "TolvaneModem 1"});
        const WindowId window = machine.startUntil(mainTitle);
        desktop.keepPicture("already-connected-" + sizes);
        QCOMPARE(machine.debug(), portSearchDebug() +
                                      "connection name in reg:  \"TolvaneModem 1\"\n" +
                                      statusDebug({"Office", "TolvaneModem 1"}));
        desktop.pressIn(window, "ctrl+d");
        machine.waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$");
        QCOMPARE(machine.connections(), QStringList("Office"));
        QCOMPARE(machine.calls().filter("RasEnumConnectionsW dwSize=1340 ").size(), 2);
        QCOMPARE(machine.calls().filter("RasEnumConnectionsW dwSize=1372 ").size(), askedOnceMore);
    });
}

void ConnectionTest::connectionThatDrops()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        machine.setConnections({"TolvaneModem 1"});
        machine.startUntil(mainTitle);
        machine.setConnections({});
        machine.waitForDebug("No of Connections = 0");
        // The poll has stopped itself with the connection.
        const int calls = machine.calls().size();
        QVERIFY(!comesTrue([&] { return machine.calls().size() != calls; }, 11000));
        desktop.keepPicture("connection-dropped");
    });
}

void ConnectionTest::dialDialogCancelled()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        m_phone->plugIn();
        startAndWaitForDialog(machine);
        const WindowId dialog = desktop.waitForWindow(dialTitle);
        desktop.pressIn(dialog, "Escape");
        machine.waitForCall("^RasDialDlgW .* -> 0$");
        QVERIFY(machine.connections().isEmpty());
        // Connect is offered again and works.
        const WindowId window = desktop.waitForWindow(mainTitle);
        desktop.pressIn(window, "ctrl+c");
        waitFor("A second dial", [&] { return m_phone->bytesFromPc().size() == 4; });
    });
}

// The dial dialog lets the window's events through. Nothing may stay connected
// with no window to hang up by.
void ConnectionTest::closedWhileDialling()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        m_phone->plugIn();
        startAndWaitForDialog(machine);
        const WindowId window = desktop.waitForWindow(mainTitle);
        const auto close = [&] {
            desktop.askToClose(window);
            // Events are taken in their order, so it has been closed when this
            // has come through, too.
            desktop.pressIn(window, "Down");
            desktop.keepPicture("closed-while-dialling");
        };
        close();
        desktop.pressIn(desktop.waitForWindow(dialTitle), "Return");
        machine.waitForCall("^RasDialDlgW .* -> 1$");
        desktop.waitForNoWindow(dialTitle);
        QVERIFY(!machine.hasEnded());
        desktop.pressIn(desktop.waitForWindow(mainTitle), "ctrl+d");
        machine.waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$");

        desktop.pressUntil(window, "ctrl+c", "A second dial",
                           [&] { return m_phone->bytesFromPc().size() == 4; });
        desktop.waitForWindow(dialTitle);
        close();
        desktop.pressIn(desktop.waitForWindow(dialTitle), "Escape");
        QCOMPARE(machine.waitForExit(), 0);
        QVERIFY(machine.connections().isEmpty());
    });
}

// What is clicked and typed while the phone takes its time must not press the
// button that comes back afterwards.
void ConnectionTest::inputWhileBlocked()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        m_phone->plugIn({"set delay 4000"});
        machine.setMachine(machineWithPhone() + QStringList{"dial cancel"});
        const WindowId window = machine.startUntil(mainTitle);
        desktop.pressUntil(window, "ctrl+c", "AT",
                           [&] { return !m_phone->bytesFromPc().isEmpty(); });
        // It spans 250 to 341 by 80 to 161 of the form, below title and menu.
        desktop.click(window, {295, 141});
        desktop.press({"Down", "Down", "space"});
        desktop.click(window, {295, 141});
        QVERIFY(machine.calls().filter("RasDialDlgW").isEmpty());
        desktop.keepPicture("input-while-blocked-1");
        machine.waitForCall("^RasDialDlgW .* -> 0$");
        // The menu opens when all of that has been taken.
        machine.openMenu(window, "alt+f");
        desktop.keepPicture("input-while-blocked-2");
        desktop.press("Escape");
        QCOMPARE(m_phone->bytesFromPc().size(), 2);
        // The operator is the one that was dialled: the next dial stores it.
        desktop.pressIn(window, "ctrl+c");
        waitFor("A second dial", [&] { return m_phone->bytesFromPc().size() == 3; });
        QCOMPARE(machine.setting("CurrentMobileOperator"), QString("GrameenPhone"));
    });
}

void ConnectionTest::answersThatAreNotAnAnswer_data()
{
    QTest::addColumn<bool>("readsPend");
    QTest::newRow("empty reads end") << false;
    QTest::newRow("empty reads pend") << true;
}

void ConnectionTest::answersThatAreNotAnAnswer()
{
    QFETCH(bool, readsPend);
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        machine.setReadsPend(readsPend);
        // The echo and the noise are chunks of their own and skipped.
        m_phone->plugIn({"set echo on", "set noise ^RSSI", "set delay 300"});
        startAndWaitForDialog(machine);
        QCOMPARE(m_phone->bytesFromPc().size(), 2);
        QVERIFY(!machine.calls().filter("got=\"AT\\r\"").isEmpty());
        // What the pending reads took is asked for, and only that.
        const int pending = machine.calls().filter(QRegularExpression("^ReadFile .*=997$")).size();
        QCOMPARE(pending > 0, readsPend);
        QCOMPARE(machine.calls().filter(QRegularExpression("^GetOverlappedResult .*=1$")).size(),
                 pending);
    });
}

void ConnectionTest::modemThatAnswersError()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        m_phone->plugIn({"set error all"});
        startAndWaitForDialog(machine);
        QVERIFY(machine.debug().endsWith("AT\r \ncommand is invalid\n\n"));
        QCOMPARE(m_phone->bytesFromPc().size(), 2);
    });
}

void ConnectionTest::unpluggedAndWaiting()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        machine.setMachine({"dial cancel"});
        const WindowId window = machine.startUntil(mainTitle);
        machine.waitForDebug("Checking port availability \n\n");
        desktop.keepPicture("waiting-1");

        // The person does not wait for the next look: the button looks at once.
        m_phone->plugIn();
        machine.setMachine(machineWithPhone() + QStringList{"dial ask"});
        // It spans 250 to 421 by 80 to 161 of the form, below title and menu.
        desktop.click(window, {330, 141});
        machine.waitForDebug("\"port 7 available\"");
        desktop.keepPicture("waiting-2-countdown");
        desktop.waitForWindow(dialTitle);
        QCOMPARE(m_phone->bytesFromPc().size(), 2);
    });
}

void ConnectionTest::phoneThatSaysNothing()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        m_phone->plugIn({"set silent on"});
        const WindowId window = machine.startUntil(mainTitle);
        desktop.pressUntil(window, "ctrl+c", "AT",
                           [&] { return m_phone->bytesFromPc() == QStringList("AT\\r"); });
        machine.waitForCall("^WaitCommEvent ");
        // The program waits without an end.
        desktop.keepPicture("silent-phone");
        QCOMPARE(m_phone->bytesFromPc().size(), 1);
        QVERIFY(machine.calls().filter("RasDialDlgW").isEmpty());
        QVERIFY(!machine.hasEnded());
    });
}

QTEST_GUILESS_MAIN(ConnectionTest)
#include "connection_test.moc"
