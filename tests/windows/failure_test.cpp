// What a person meets when Windows refuses something, with the packaged
// program from the start to the end of its process. What each call does when it
// fails is told by the tests of serial/, install/ and dialup/, which run as
// Windows programs, too; here are the stories in which the parts meet: the log,
// the calls behind the failure, what is dialled and what is left open.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QRegularExpression>
#include <QTest>

namespace {

const char entry[] = "TolvaneModem 1";
const char created[] = "Successfully created the DIALUP CONNECTION :D :D\n";
const QString installFailed = "ERROR  InstallModem  -  InstallRootEnumeratedDriver failed \n\n";
const QString registerFailed = "ERROR  InstallRootEnumeratedDriver  -  \"RegisterModem failed. "
                               "Tried to register it to COM7\" \n\n";

const QString deviceRemoved =
    "SetupDiCallClassInstaller function=5 set3 device=new cbSize=32 -> result=1";
const QString setDestroyed = "SetupDiDestroyDeviceInfoList set3 -> result=1";

const QString create =
    "CreateFileW name=\"\\\\.\\COM7\" behind=zero access=0xC0000000 share=0 security=null "
    "disposition=3 flags=0x40000000 template=null -> ";

/// The calls that open the port and set it up.
const QStringList opened = {
    create + "port1", "GetCommState port1 record=zero -> result=1",
    "SetCommState port1 BaudRate=9600 ByteSize=8 Parity=0 StopBits=0 others=as-reported -> "
    "result=1",
    "SetCommTimeouts port1 ReadInterval=0xFFFFFFFF ReadMultiplier=0 ReadConstant=0 "
    "WriteMultiplier=0 WriteConstant=0 -> result=1",
    "SetCommMask port1 mask=5 -> result=1"};

const QString writtenText = "\nWriteFile completed immediately.\n";
const QString okText = "\r\nOK\r\n\n";

QString lastError(const char *code)
{
    return QString("Msg from  InstallRootEnumeratedDriver  -  \"Last Error %1\" \n\n").arg(code);
}

QString newEvent(int number)
{
    return QString("event event%1 manual unsignalled unnamed").arg(number);
}

QString writeAt(const QString &outcome)
{
    return "WriteFile port1 data=\"AT\\r\" count=3 record=zero event1 -> " + outcome;
}

QString readOk(int event)
{
    return QString("ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event%1 -> "
                   "got=\"\\r\\nOK\\r\\n\"")
        .arg(event);
}

/// The end of the exchange: the answer to AT, the access point, its answer.
QStringList fromFirstAnswer()
{
    return {newEvent(2),
            readOk(2),
            newEvent(3),
            "WriteFile port1 data=\"AT+CGDCONT=1,\"IP\",\"gpinternet\"\\r\" count=31 record=zero "
            "event3 -> result=1",
            newEvent(4),
            readOk(4),
            "CloseHandle port1 -> result=1"};
}

/// The last of these, as many as are expected.
QStringList lastCalls(const WineMachine &machine, const QStringList &expected)
{
    const QStringList calls = setupOnly(machine.calls());
    return calls.mid(qMax(0, calls.size() - expected.size()));
}

/// Leaves the wizard, and the main window that comes back when there is an entry.
void closeAll(WineMachine &machine)
{
    Desktop &desktop = machine.desktop;
    desktop.pressIn(desktop.waitForWindow(wizardTitle), "Escape");
    waitFor("The wizard's end",
            [&] { return machine.hasEnded() || !desktop.window(mainTitle).isEmpty(); });
    if (!machine.hasEnded())
        desktop.close(desktop.waitForWindow(mainTitle));
    QCOMPARE(machine.waitForExit(), 0);
}

void closeProgram(WineMachine &machine)
{
    machine.desktop.close(machine.desktop.waitForWindow(mainTitle));
    QCOMPARE(machine.waitForExit(), 0);
}

} // namespace

class FailureTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void cleanup() { m_phone->unplug(); }

    void setUpStops_data();
    void setUpStops();
    void setUpWithoutConfigurationManager();
    void releaseThatTheDriversDoNotKnow();
    void dial_data();
    void dial();
    void moreConnectionsThanFit();
    void hangUpRefused();

private:
    std::unique_ptr<WineMachine> m_machine;
    std::unique_ptr<PhoneOnPort> m_phone;
};

void FailureTest::initTestCase()
{
    m_machine = newMachine("failure");
    m_phone = std::make_unique<PhoneOnPort>(*m_machine);
    m_machine->setWindowsVersion("win7");
}

void FailureTest::cleanupTestCase()
{
    m_phone.reset();
    m_machine.reset();
}

void FailureTest::setUpStops_data()
{
    QTest::addColumn<QStringList>("machine");  // what fails; "-rasdevice": no modem device
    QTest::addColumn<QString>("debugEnd");     // the last lines of the debug stream
    QTest::addColumn<QStringList>("callsEnd"); // the last calls of the program
    QTest::addColumn<QStringList>("left");     // what the end finds open

    const QStringList clean = {"exit sets none", leftOpen()};
    QTest::newRow("INF refused")
        << QStringList{"fail SetupCopyOEMInfW 1 5"}
        << "ERROR  CopyInf  -  \"Failed, location \"%DRIVERS%modem_inf_64.inf\" \" \n\n"
           "ERROR  SetupAllInfs  -  Modem INF setup failed. \n\n"
        << QStringList{} << clean;
    QTest::newRow("registration refused")
        << QStringList{"fail SetupDiRegisterDeviceInfo 1 5"}
        << "ERROR  RegisterModem  -  SetupDiRegisterDeviceInfo Device\n \n\n" + registerFailed +
               lastError("5") + installFailed
        << QStringList{deviceRemoved, setDestroyed} << clean;
    const QString line = "ERROR  InstallRootEnumeratedDriver  -  ";
    QTest::newRow("driver update fails")
        << QStringList{"fail UpdateDriverForPlugAndPlayDevicesW 1 3758096949"}
        << line + "UpdateDriverForPlugAndPlayDevices failed. \n\n" + line +
               "\"Error code 3758096949\" \n\n" + line + "Error is ERROR_IN_WOW64 \n\n" +
               lastError("3758096949") + installFailed
        << QStringList{"FreeLibrary newdev.dll", "newdev.dll freed", deviceRemoved, setDestroyed}
        << clean;
    // The block of the entry stays on this path.
    QTest::newRow("no modem device")
        << QStringList{"-rasdevice"} << "Error! No compatible modem found!\n"
        << QStringList{"RasEnumDevicesW records=null lpcb=0 count=0 -> result=0 count=0"}
        << QStringList{"exit sets none", leftOpen("none", "none", "block5")};
    QTest::newRow("entry refused")
        << QStringList{"fail RasSetEntryPropertiesW 1 5"}
        << "The user does not have the correct privileges. Only an administrator can complete "
           "this task.\n \n\n"
        << QStringList{"HeapFree flags=0 block5"} << clean;
}

void FailureTest::setUpStops()
{
    QFETCH(QStringList, machine);
    QFETCH(QString, debugEnd);
    QFETCH(QStringList, callsEnd);
    QFETCH(QStringList, left);
    onMachine(*m_machine, [&](WineMachine &windows) {
        QStringList lines = machineWithPhone();
        if (machine.contains("-rasdevice"))
            lines = lines.filter(QRegularExpression("^port "));
        windows.setMachine(lines + machine.filter(QRegularExpression("^[^-]")));
        debugEnd.replace("%DRIVERS%", windows.folder() + "\\drivers\\");

        windows.start();
        startSetup(windows);
        comesTrue([&] { return windows.debug().endsWith(debugEnd); });
        QCOMPARE(windows.debug().right(debugEnd.size()), debugEnd);
        comesTrue([&] { return lastCalls(windows, callsEnd) == callsEnd; });
        QCOMPARE(lastCalls(windows, callsEnd), callsEnd);
        windows.desktop.keepPicture(QTest::currentDataTag());

        closeAll(windows);
        for (const QString &line : left)
            QVERIFY2(windows.calls().contains(line), qPrintable(windows.calls().join('\n')));
        QCOMPARE(windows.setting("NoOfDialups"), QString());
    });
}

// The library is really missing, and the set-up goes on.
void FailureTest::setUpWithoutConfigurationManager()
{
    onMachine(*m_machine, [](WineMachine &machine) {
        machine.setMissingLibraries({"cfgmgr32"});
        machine.setMachine(machineWithPhone());
        machine.start();
        startSetup(machine);
        machine.waitForDebug(created);
        machine.desktop.keepPicture("no configuration manager");
        QVERIFY2(machine.debug().contains("ERROR  \"ReScanDriver()\"  -  CM_Locate_DevNode_Ex "
                                          "failed \n\n" +
                                          portSearchDebug()),
                 qPrintable(machine.debug()));
        const QString calls = setupOnly(machine.calls()).join('\n');
        QVERIFY2(calls.contains("\nLoadLibraryW name=\"cfgmgr32.dll\" -> result=null error=126\n" +
                                portSearchCalls(1, 1).first()),
                 qPrintable(calls));
        QCOMPARE(machine.printed(), QString("Error, cfgmgr32.dll not found\n"));

        closeAll(machine);
        QVERIFY(machine.calls().contains("exit sets none"));
        QVERIFY(machine.calls().contains(leftOpen()));
        QCOMPARE(machine.setting("NoOfDialups"), QString("1"));
    });
}

// What Windows says of its release depends on the manifest of the packaged
// program; the newest is told as what it is, and gets the other INF.
void FailureTest::releaseThatTheDriversDoNotKnow()
{
    onMachine(*m_machine, [](WineMachine &machine) {
        machine.setWindowsVersion("win10");
        machine.setMachine(machineWithPhone());
        machine.start();
        machine.setWindowsVersion("win7");
        startSetup(machine);
        machine.waitForDebug(created);
        const QString called = machine.calls().filter("GetVersionExW").value(0);
        QVERIFY2(called.endsWith("major=10 minor=0"), qPrintable(called));
        const QString copied = machine.calls().filter("SetupCopyOEMInfW").value(0);
        QVERIFY2(copied.contains("\\drivers\\modem_inf_32.inf\""), qPrintable(copied));
        closeAll(machine);
    });
}

void FailureTest::dial_data()
{
    QTest::addColumn<bool>("plugged");
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<QStringList>("calls"); // of the port, without the waits
    QTest::addColumn<QString>("debugEnd");
    QTest::addColumn<QString>("printed");
    QTest::addColumn<bool>("dials");
    QTest::addColumn<QString>("left");

    const QString path = "\"\\\\.\\COM7\" \n\n";
    const QString configured = "Serial port  7  is successfully reconfigured.\n";
    const QString allEvents = leftOpen("none", "event1,event2,event3,event4");

    QTest::newRow("no such port") << false << QStringList{}
                                  << QStringList{create + "result=invalid error=2"}
                                  << path + "CreateFile failed with error  2\n"
                                  << QString() << false << leftOpen();
    QTest::newRow("write pending")
        << true << QStringList{"fail WriteFile 1 997"}
        << opened +
               QStringList{newEvent(1), writeAt("result=0 error=997"),
                           "GetOverlappedResult port1 offset=zero event1 wait=1 -> "
                           "result=1"} +
               fromFirstAnswer()
        << configured
        << "\nWrite operation completed successfully.\n" + okText + writtenText + okText << true
        << allEvents;
    QTest::newRow("read pending")
        << true << QStringList{"fail ReadFile 1 997"}
        << opened +
               QStringList{newEvent(1), writeAt("result=1"), newEvent(2),
                           "ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event2 -> "
                           "result=0 error=997",
                           "GetOverlappedResult port1 offset=zero event2 wait=1 -> result=1"} +
               fromFirstAnswer().mid(2)
        << configured << writtenText + okText + writtenText + okText << true << allEvents;
    QTest::newRow("dialling fails")
        << true << QStringList{"fail RasDialDlgW 1 633"}
        << opened + QStringList{newEvent(1), writeAt("result=1")} + fromFirstAnswer() << configured
        << writtenText + okText + writtenText + okText << true << allEvents;
}

void FailureTest::dial()
{
    QFETCH(bool, plugged);
    QFETCH(QStringList, failures);
    QFETCH(QStringList, calls);
    QFETCH(QString, debugEnd);
    QFETCH(QString, printed);
    QFETCH(bool, dials);
    QFETCH(QString, left);
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        machine.setMachine(machineWithPhone() + QStringList{"dial connect"} + failures);
        if (plugged)
            m_phone->plugIn();
        const QRegularExpression dialCall("^RasDialDlgW ");
        machine.desktop.pressUntil(machine.startUntil(mainTitle), "ctrl+c", "The end of the dial",
                                   [&] {
                                       return dials ? !machine.calls().filter(dialCall).isEmpty()
                                                    : machine.debug().endsWith(debugEnd);
                                   });
        machine.desktop.keepPicture(QTest::currentDataTag());
        // One press, one dial.
        QCOMPARE(machine.calls().filter(dialCall).size(), dials ? 1 : 0);
        const bool connects = dials && !failures.contains("fail RasDialDlgW 1 633");
        QCOMPARE(machine.connections(), connects ? QStringList(entry) : QStringList());
        QCOMPARE(machine.debug().right(debugEnd.size()), debugEnd);
        QCOMPARE(machine.printed(), printed);
        const QStringList recorded = withoutWaiting(machine.calls().filter(
            QRegularExpression("^(CreateFileW|GetComm|SetComm|event|CreateEventW|WriteFile|"
                               "ReadFile|GetOverlappedResult|CloseHandle)")));
        const QString difference = firstDifference(recorded, calls);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));

        closeProgram(machine);
        QVERIFY2(machine.calls().contains(left), qPrintable(machine.calls().join('\n')));
    });
}

// The list of connections does not fit: that is no connection, and the
// countdown begins.
void FailureTest::moreConnectionsThanFit()
{
    onMachine(*m_machine, [](WineMachine &machine) {
        setUpBefore(machine);
        machine.setMachine(machineWithPhone() + QStringList{"dial cancel"});
        QStringList many;
        for (int i = 1; i <= 100; ++i)
            many.append(QString("Office %1").arg(i));
        machine.setConnections(many + QStringList(entry));
        machine.startUntil(mainTitle);
        machine.waitForCall(
            "^RasEnumConnectionsW dwSize=1340 lpcb=136000 count=0 rest=zero -> result=603$");
        QCOMPARE(machine.debug(),
                 portSearchDebug() +
                     "connection name in reg:  \"TolvaneModem 1\"\n"
                     "in isDialupConnectionConnected, connName:  \"TolvaneModem 1\"\n");
        machine.desktop.keepPicture("more connections than fit");
        // At its end the program dials.
        machine.waitForCall("^CreateFileW ", 30000);
        closeProgram(machine);
    });
}

void FailureTest::hangUpRefused()
{
    onMachine(*m_machine, [](WineMachine &machine) {
        setUpBefore(machine);
        machine.setMachine(machineWithPhone() + QStringList{"fail RasHangUpW 1 6"});
        machine.setConnections({entry});
        const WindowId window = machine.startUntil(mainTitle);
        machine.desktop.pressUntil(window, "ctrl+d", "The hang-up",
                                   [&] { return !machine.calls().filter("RasHangUpW").isEmpty(); });
        QCOMPARE(machine.calls().filter("RasHangUpW"),
                 QStringList("RasHangUpW connection=\"TolvaneModem 1\" -> result=6"));
        QCOMPARE(machine.connections(), QStringList(entry));
        machine.desktop.keepPicture("hang-up refused");
        // Disconnect is still offered, and works.
        machine.desktop.pressIn(window, "ctrl+d");
        machine.waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$");
        QVERIFY(machine.connections().isEmpty());
        closeProgram(machine);
    });
}

QTEST_GUILESS_MAIN(FailureTest)
#include "failure_test.moc"
