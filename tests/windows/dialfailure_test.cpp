// Every way in which a call of the serial port or of the connections can fail
// on Windows, with the packaged program: what it sends, logs and prints, whether
// it dials, and what it leaves open.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/winemachine.h"

#include <QRegularExpression>
#include <QTest>

#include <memory>

namespace {

const char entry[] = "TolvaneModem 1";

const QString create =
    "CreateFileW name=\"\\\\.\\COM7\" behind=zero access=0xC0000000 share=0 security=null "
    "disposition=3 flags=0x40000000 template=null -> ";
const QString getState = "GetCommState port1 record=zero -> ";
const QString setState =
    "SetCommState port1 BaudRate=9600 ByteSize=8 Parity=0 StopBits=0 others=as-reported -> ";
const QString setTimeouts = "SetCommTimeouts port1 ReadInterval=0xFFFFFFFF ReadMultiplier=0 "
                            "ReadConstant=0 WriteMultiplier=0 WriteConstant=0 -> ";
const QString setMask = "SetCommMask port1 mask=5 -> ";
const QString done = "result=1";
const QString closed = "CloseHandle port1 -> result=1";

/// The calls that open the port and set it up.
const QStringList opened = {create + "port1", getState + done, setState + done, setTimeouts + done,
                            setMask + done};

const QString pathLog = "\"\\\\.\\COM7\" \n\n";
const QString configuredLog = "Serial port  7  is successfully reconfigured.\n";

const QString writtenText = "\nWriteFile completed immediately.\n";
const QString okText = "\r\nOK\r\n\n";

QString newEvent(int number)
{
    return QString("event event%1 manual unsignalled unnamed").arg(number);
}

QString writeAt(const QString &outcome)
{
    return "WriteFile port1 data=\"AT\\r\" count=3 record=zero event1 -> " + outcome;
}

QString writeApn(const QString &outcome)
{
    return "WriteFile port1 data=\"AT+CGDCONT=1,\"IP\",\"gpinternet\"\\r\" count=31 record=zero "
           "event3 -> " +
           outcome;
}

QString read(int event, const QString &outcome)
{
    return QString("ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event%1 -> %2")
        .arg(QString::number(event), outcome);
}

const QString okRead = "got=\"\\r\\nOK\\r\\n\"";

QString waitFailed(int code)
{
    return QString("Waiting for single object failed with error no %1\n").arg(code);
}

} // namespace

class DialFailureTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init() { m_machine->reset(); }
    void cleanup();

    void dial_data();
    void dial();
    void statusAtTheStart_data();
    void statusAtTheStart();
    void statusOfThePoll();
    void hangUpRefused();

private:
    void startProgram();
    void closeProgram();

    std::unique_ptr<WineMachine> m_machine;
    std::unique_ptr<PhoneOnPort> m_phone;
    QString m_window;
};

void DialFailureTest::initTestCase()
{
    m_machine = std::make_unique<WineMachine>();
    m_phone = std::make_unique<PhoneOnPort>(*m_machine);
    m_machine->setWindowsVersion("win7");
}

void DialFailureTest::cleanupTestCase()
{
    m_machine->setWindowsVersion({});
    m_phone.reset();
    m_machine.reset();
}

void DialFailureTest::cleanup()
{
    m_machine->stop();
    m_phone->unplug();
    const QString name =
        QString("dial-%1%2")
            .arg(QTest::currentTestFunction(),
                 QTest::currentDataTag() ? QString("-") + QTest::currentDataTag() : QString());
    if (QTest::currentTestFailed())
        m_machine->screenshot(name + "-failed");
    m_machine->keepLogs(name);
    const QStringList wrong = wrongCalls(m_machine->calls());
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
}

void DialFailureTest::startProgram()
{
    m_window = m_machine->startUntil(mainTitle);
    QVERIFY(!m_window.isEmpty());
}

void DialFailureTest::closeProgram()
{
    m_machine->press(m_window, "alt+F4");
    QCOMPARE(m_machine->waitForExit(), 0);
}

void DialFailureTest::dial_data()
{
    QTest::addColumn<QStringList>("failures"); // empty: there is no such port
    QTest::addColumn<QStringList>("calls");    // of the port, without the waits
    QTest::addColumn<QStringList>("waits");    // among the waits
    QTest::addColumn<QString>("debugEnd");
    QTest::addColumn<QString>("printed");
    QTest::addColumn<bool>("dials");
    QTest::addColumn<QString>("left");

    const QString nothing = leftOpen();
    // Where opening fails half-way the port stays open to the program's end.
    const QString portOnly = leftOpen("port1");
    const QString allEvents = leftOpen("none", "event1,event2,event3,event4");

    QTest::newRow("no such port") << QStringList{} << QStringList{create + "result=invalid error=2"}
                                  << QStringList{} << pathLog + "CreateFile failed with error  2\n"
                                  << QString() << false << nothing;
    QTest::newRow("port in use") << QStringList{"fail CreateFileW 1 5"}
                                 << QStringList{create + "result=invalid error=5"} << QStringList{}
                                 << pathLog + "CreateFile failed with error  5\n"
                                 << QString() << false << nothing;
    QTest::newRow("state unreadable")
        << QStringList{"fail GetCommState 1 31"}
        << QStringList{create + "port1", getState + "result=0 error=31"} << QStringList{}
        << pathLog + "GetCommState failed with error 31\n"
        << QString() << false << portOnly;
    QTest::newRow("state refused")
        << QStringList{"fail SetCommState 1 87"}
        << QStringList{create + "port1", getState + done, setState + "result=0 error=87"}
        << QStringList{} << pathLog + "SetCommState failed with error 87\n"
        << QString() << false << portOnly;
    QTest::newRow("time-outs refused")
        << QStringList{"fail SetCommTimeouts 1 87"}
        << opened.mid(0, 3) + QStringList{setTimeouts + "result=0 error=87"} << QStringList{}
        << configuredLog + "Error setting time-outs 87\n"
        << QString() << false << portOnly;
    // The port works; the modem keeps the APN that it has.
    QTest::newRow("mask refused") << QStringList{"fail SetCommMask 1 87"}
                                  << opened.mid(0, 4) + QStringList{setMask + "result=0 error=87"}
                                  << QStringList{}
                                  << configuredLog + "SetCommMask failed with error 87\n"
                                  << QString() << true << portOnly;
    const QString noEvent = "CreateEventW -> result=null error=8";
    QTest::newRow("no events") << QStringList{"fail CreateEventW * 8"}
                               << opened + QStringList{noEvent, noEvent, noEvent, noEvent, closed}
                               << QStringList{} << configuredLog << QString() << true << nothing;

    // Nothing was sent, so there is no answer, and the wait is cut short.
    QTest::newRow("write refused")
        << QStringList{"fail WriteFile 1 5", "fail WaitForSingleObject 1 6"}
        << opened + QStringList{newEvent(1),     writeAt("result=0 error=5"),
                                newEvent(2),     newEvent(3),
                                writeApn(done),  newEvent(4),
                                read(4, okRead), closed}
        << QStringList{} << configuredLog
        << "\nWriteFile failed with error 5.\n" + waitFailed(6) + writtenText + okText << true
        << allEvents;
    QTest::newRow("write pending")
        << QStringList{"fail WriteFile 1 997"}
        << opened + QStringList{newEvent(1),
                                writeAt("result=0 error=997"),
                                "GetOverlappedResult port1 offset=zero event1 wait=1 -> result=1",
                                newEvent(2),
                                read(2, okRead),
                                newEvent(3),
                                writeApn(done),
                                newEvent(4),
                                read(4, okRead),
                                closed}
        << QStringList{} << configuredLog
        << "\nWrite operation completed successfully.\n" + okText + writtenText + okText << true
        << allEvents;
    QTest::newRow("pending write fails")
        << QStringList{"fail WriteFile 1 997", "fail GetOverlappedResult 1 1117"}
        << opened +
               QStringList{
                   newEvent(1),
                   writeAt("result=0 error=997"),
                   "GetOverlappedResult port1 offset=zero event1 wait=1 -> result=0 error=1117",
                   newEvent(2),
                   read(2, okRead),
                   newEvent(3),
                   writeApn(done),
                   newEvent(4),
                   read(4, okRead),
                   closed}
        << QStringList{} << configuredLog << okText + writtenText + okText << true << allEvents;
    const QStringList unread =
        opened + QStringList{newEvent(1),    writeAt(done), newEvent(2), newEvent(3),
                             writeApn(done), newEvent(4),   closed};
    QTest::newRow("wait not armed")
        << QStringList{"fail WaitCommEvent * 87", "fail WaitForSingleObject * 87"} << unread
        << QStringList{"WaitCommEvent port1 record=zero event2 mask=set -> result=0 error=87",
                       "WaitCommEvent port1 record=zero event4 mask=set -> result=0 error=87"}
        << configuredLog << writtenText + waitFailed(87) + writtenText + waitFailed(87) << true
        << allEvents;
    const QString wait = "WaitForSingleObject event%1 milliseconds=0xFFFFFFFF "
                         "-> result=0xFFFFFFFF error=6";
    QTest::newRow("wait fails") << QStringList{"fail WaitForSingleObject * 6"} << unread
                                << QStringList{wait.arg(2), wait.arg(4)} << configuredLog
                                << writtenText + waitFailed(6) + writtenText + waitFailed(6) << true
                                << allEvents;
    // A failed read is one that found nothing: the wait for more begins again.
    QTest::newRow("read fails") << QStringList{"fail ReadFile 1 5"}
                                << opened +
                                       QStringList{newEvent(1),     writeAt(done),
                                                   newEvent(2),     read(2, "result=0 error=5"),
                                                   read(2, okRead), newEvent(3),
                                                   writeApn(done),  newEvent(4),
                                                   read(4, okRead), closed}
                                << QStringList{} << configuredLog
                                << writtenText + okText + writtenText + okText << true << allEvents;
    QTest::newRow("dialling fails")
        << QStringList{"fail RasDialDlgW 1 633"}
        << opened + QStringList{newEvent(1),     writeAt(done),   newEvent(2),
                                read(2, okRead), newEvent(3),     writeApn(done),
                                newEvent(4),     read(4, okRead), closed}
        << QStringList{} << configuredLog << writtenText + okText + writtenText + okText << true
        << allEvents;
}

void DialFailureTest::dial()
{
    QFETCH(QStringList, failures);
    QFETCH(QStringList, calls);
    QFETCH(QStringList, waits);
    QFETCH(QString, debugEnd);
    QFETCH(QString, printed);
    QFETCH(bool, dials);
    QFETCH(QString, left);
    setUpBefore(*m_machine);
    m_machine->setMachine(machineWithPhone() + QStringList{"dial connect"} + failures);
    if (!failures.isEmpty())
        QCOMPARE(m_phone->plugIn(), QString());
    startProgram();

    const QRegularExpression dialCall("^RasDialDlgW ");
    const auto hasEnded = [&] {
        return dials ? !m_machine->calls().filter(dialCall).isEmpty()
                     : m_machine->debug().endsWith(debugEnd);
    };
    QVERIFY(m_machine->pressUntil(m_window, "ctrl+c", hasEnded));
    const bool connects = dials && !failures.contains("fail RasDialDlgW 1 633");
    m_machine->screenshot(QString("dial-") + QTest::currentDataTag());
    // One press, one dial.
    QCOMPARE(m_machine->calls().filter(dialCall).size(), dials ? 1 : 0);
    QCOMPARE(m_machine->connections(), connects ? QStringList(entry) : QStringList());
    QCOMPARE(m_machine->debug().right(debugEnd.size()), debugEnd);
    QCOMPARE(m_machine->printed(), printed);
    const QStringList recorded = withoutWaiting(m_machine->calls().filter(
        QRegularExpression("^(CreateFileW|GetComm|SetComm|event|CreateEventW|WriteFile|ReadFile|"
                           "GetOverlappedResult|CloseHandle)")));
    const QString difference = firstDifference(recorded, calls);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    for (const QString &line : waits)
        QVERIFY2(m_machine->calls().contains(line), qPrintable(m_machine->calls().join('\n')));

    closeProgram();
    QVERIFY2(m_machine->calls().contains(left), qPrintable(m_machine->calls().join('\n')));
}

// An enumeration that fails is no connection: the countdown begins.
void DialFailureTest::statusAtTheStart_data()
{
    QTest::addColumn<QStringList>("connections");
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<QString>("outcome");

    QTest::newRow("refused") << QStringList(entry) << QStringList{"fail RasEnumConnectionsW 1 632"}
                             << "result=632";
    QStringList many;
    for (int i = 1; i <= 100; ++i)
        many.append(QString("Office %1").arg(i));
    QTest::newRow("more than fit") << many + QStringList(entry) << QStringList{} << "result=603";
}

void DialFailureTest::statusAtTheStart()
{
    QFETCH(QStringList, connections);
    QFETCH(QStringList, failures);
    QFETCH(QString, outcome);
    setUpBefore(*m_machine);
    m_machine->setMachine(machineWithPhone() + QStringList{"dial cancel"} + failures);
    m_machine->setConnections(connections);
    startProgram();
    QVERIFY(m_machine->waitForCall(
        "^RasEnumConnectionsW dwSize=1340 lpcb=136000 count=0 rest=zero -> " + outcome + "$"));
    QCOMPARE(m_machine->debug(),
             portSearchDebug() + "connection name in reg:  \"TolvaneModem 1\"\n"
                                 "in isDialupConnectionConnected, connName:  \"TolvaneModem 1\"\n");
    m_machine->screenshot(QString("status-") + QTest::currentDataTag(), WineMachine::Moving);
    // At its end the program dials.
    QVERIFY(m_machine->waitForCall("^CreateFileW ", 30000));
    closeProgram();
}

void DialFailureTest::statusOfThePoll()
{
    setUpBefore(*m_machine);
    m_machine->setMachine(machineWithPhone() + QStringList{"fail RasEnumConnectionsW 2 632"});
    m_machine->setConnections({entry});
    startProgram();
    QVERIFY(m_machine->waitForCall("^RasEnumConnectionsW .* -> result=632$"));
    // It counts as the connection's end, which is the poll's as well.
    const int calls = m_machine->calls().size();
    QVERIFY(!QTest::qWaitFor([&] { return m_machine->calls().size() != calls; }, 11000));
    m_machine->screenshot("status-poll-fails");
    QCOMPARE(m_machine->connections(), QStringList(entry));
    closeProgram();
}

void DialFailureTest::hangUpRefused()
{
    setUpBefore(*m_machine);
    m_machine->setMachine(machineWithPhone() + QStringList{"fail RasHangUpW 1 6"});
    m_machine->setConnections({entry});
    startProgram();
    QVERIFY(m_machine->pressUntil(
        m_window, "ctrl+d", [this] { return !m_machine->calls().filter("RasHangUpW").isEmpty(); }));
    QCOMPARE(m_machine->calls().filter("RasHangUpW"),
             QStringList("RasHangUpW connection=\"TolvaneModem 1\" -> result=6"));
    QCOMPARE(m_machine->connections(), QStringList(entry));
    m_machine->screenshot("hang-up-refused");
    // Disconnect is still offered, and works.
    m_machine->press(m_window, "ctrl+d");
    QVERIFY(m_machine->waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$"));
    QVERIFY(m_machine->connections().isEmpty());
    closeProgram();
}

QTEST_GUILESS_MAIN(DialFailureTest)
#include "dialfailure_test.moc"
