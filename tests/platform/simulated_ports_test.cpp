#include "platform/configmanager.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/lasterror.h"
#include "tests/linux/fulldisk.h"
#include "tests/platform/simulated_fixture.h"

#include <QElapsedTimer>
#include <QMap>
#include <QProcess>
#include <QTest>

using namespace platform;
using namespace platform::simulated;

namespace {

/// The friendly names of the present ports, as the program reads them.
QStringList portNames(SimulatedPc &pc)
{
    QStringList names;
    const HDEVINFO set =
        pc.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, GetPresentDevices);
    DeviceInfoData data = {};
    data.cbSize = sizeof data;
    for (DWORD index = 0; pc.SetupDiEnumDeviceInfo(set, index, &data); ++index) {
        DWORD size = 0;
        DWORD type = 0;
        if (pc.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyFriendlyName, &type, nullptr,
                                                 0, &size) ||
            lastError() != ErrorInsufficientBuffer)
            qFatal("the size query of a property did not say 122");
        QByteArray buffer(int(size), '\xFF');
        if (!pc.SetupDiGetDeviceRegistryPropertyW(set, &data, PropertyFriendlyName, &type,
                                                  reinterpret_cast<BYTE *>(buffer.data()), size,
                                                  &size) ||
            type != RegistryString)
            qFatal("a port has no friendly name");
        names += fromWide(reinterpret_cast<const WCHAR *>(buffer.constData()));
    }
    if (lastError() != ErrorNoMoreItems)
        qFatal("the end of the devices did not say 259");
    pc.SetupDiDestroyDeviceInfoList(set);
    return names;
}

const QString onBoard = "Communications Port (COM1)";

void rescan(SimulatedPc &pc)
{
    DEVINST root = 0;
    if (pc.CM_Locate_DevNode_ExA(&root, nullptr, LocateNormal, nullptr) != ConfigSuccess ||
        pc.CM_Reenumerate_DevNode_Ex(root, ReenumerateNormal, nullptr) != ConfigSuccess)
        qFatal("the rescan failed");
}

HANDLE openPort(SimulatedPc &pc, int number)
{
    const QString path = QString("\\\\.\\COM%1").arg(number);
    return pc.CreateFileW(wide(path), GenericRead | GenericWrite, 0, nullptr, OpenExisting,
                          FileFlagOverlapped, nullptr);
}

void installDriver(TestMachine &machine)
{
    machine.change([&](simulated::MachineState &state) {
        simulated::installPortDriver(machine.directory(), &state);
    });
}

} // namespace

class SimulatedPortsTest : public QObject
{
    Q_OBJECT

private slots:
    // A new phone's port number has to be stored before anybody sees it.
    void showsNoPortThatCannotBeStored()
    {
        TestMachine machine;
        installDriver(machine);
        const ScriptedPhone phone(machine.directory());
        SimulatedPc pc(machine.directory());
        {
            const FullDisk fullDisk;
            QCOMPARE(pc.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, GetPresentDevices),
                     invalidHandle());
            QCOMPARE(lastError(), DWORD(ErrorGenFailure));
            QCOMPARE(openPort(pc, 5), invalidHandle());
            QCOMPARE(lastError(), DWORD(ErrorGenFailure));
        }
        QCOMPARE(portNames(pc).size(), 2);
    }

    void hasAnOnBoardPort()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        QCOMPARE(portNames(pc), QStringList{onBoard});
        QCOMPARE(openPort(pc, 1), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }

    void showsNoPhoneWithoutADriver()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const ScriptedPhone phone(machine.directory());
        rescan(pc);
        QCOMPARE(portNames(pc), QStringList{onBoard});
        QCOMPARE(openPort(pc, 5), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
    }

    void needsARescanForAPhoneThatWasThereBefore()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        ScriptedPhone phone(machine.directory());
        rescan(pc); // too early
        installDriver(machine);
        QCOMPARE(portNames(pc), QStringList{onBoard});
        phone.publish(true); // a change of the bus file is no new plug-in
        phone.publish(false);
        QCOMPARE(portNames(pc), QStringList{onBoard});
        installDriver(machine); // again: no rescan either
        QCOMPARE(portNames(pc), QStringList{onBoard});
        rescan(pc);
        QCOMPARE(portNames(pc), QStringList({onBoard, "USB Modem Driver (COM5)"}));
        installDriver(machine); // a known phone stays known
        QCOMPARE(portNames(pc).size(), 2);
    }

    void matchesAPhoneThatIsPluggedInLater()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        ScriptedPhone phone(machine.directory());
        installDriver(machine);
        phone.plugIn();
        QCOMPARE(portNames(pc), QStringList({onBoard, "USB Modem Driver (COM5)"}));
        phone.unplug();
        QCOMPARE(portNames(pc), QStringList{onBoard});
    }

    void rescanLooksAtTheDriversAtItsEnd()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const ScriptedPhone phone(machine.directory());
        machine.change([](simulated::MachineState &state) { state.rescanDurationMs = 300; });
        QElapsedTimer timer;
        timer.start();
        std::thread scanner([&pc] { rescan(pc); });
        installDriver(machine); // while the bus is being looked at
        scanner.join();
        QVERIFY(timer.elapsed() >= 300);
        QCOMPARE(portNames(pc).size(), 2);
    }

    void numbersPortsBySocket()
    {
        TestMachine machine;
        installDriver(machine);
        SimulatedPc pc(machine.directory());
        const ScriptedPhone second(machine.directory(), 2, "Tolvane Modem Driver");
        QCOMPARE(portNames(pc), QStringList({onBoard, "Tolvane Modem Driver (COM5)"}));
        const ScriptedPhone first(machine.directory(), 1);
        QCOMPARE(portNames(pc),
                 QStringList({onBoard, "USB Modem Driver (COM6)", "Tolvane Modem Driver (COM5)"}));
        // Remembered, also by another start of the machine.
        SimulatedPc again(machine.directory());
        QCOMPARE(portNames(again), portNames(pc));
        QCOMPARE(machine.state().portOfSocket, (QMap<int, int>{{1, 6}, {2, 5}}));
        machine.change([](simulated::MachineState &state) { state.portOfSocket[2] = 12; });
        QVERIFY(portNames(pc).contains("Tolvane Modem Driver (COM12)"));
        QVERIFY(openPort(pc, 12) != invalidHandle());
    }

    void ignoresWhatIsNoPhone()
    {
        TestMachine machine;
        installDriver(machine);
        SimulatedPc pc(machine.directory());
        ScriptedPhone phone(machine.directory());
        QVERIFY(portNames(pc).size() == 2);
        QProcess gone;
        gone.start("true", QStringList());
        QVERIFY(gone.waitForFinished());
        QProcess sleeper;
        sleeper.start("cat", QStringList());
        QVERIFY(sleeper.waitForStarted());
        const qint64 pid = sleeper.processId();
        phone.publish(false, pid);
        QCOMPARE(portNames(pc).size(), 2);
        sleeper.kill();
        QVERIFY(sleeper.waitForFinished());
        QCOMPARE(portNames(pc).size(), 1); // its process is dead
        phone.publish(false);
        machine.write("usb/socket2.json", "{\"product\":");
        machine.write("usb/socket3.json", "{}");
        machine.write("usb/socket0.json", "{}");
        machine.write("usb/phone.ctl", "");
        QCOMPARE(portNames(pc).size(), 2);
    }

    void opensThePhonesPort()
    {
        TestMachine machine;
        installDriver(machine);
        SimulatedPc pc(machine.directory());
        ScriptedPhone phone(machine.directory());
        const HANDLE port = openPort(pc, 5);
        QVERIFY(port != invalidHandle());
        SimulatedPc another(machine.directory());
        QCOMPARE(openPort(another, 5), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
        QCOMPARE(openPort(pc, 6), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));

        DeviceControlBlock settings = {};
        QVERIFY(pc.GetCommState(port, &settings));
        settings.BaudRate = BaudRate9600;
        QVERIFY(pc.SetCommState(port, &settings));
        CommTimeouts timeouts = {MaxDword, 0, 0, 0, 0};
        QVERIFY(pc.SetCommTimeouts(port, &timeouts));
        QVERIFY(pc.SetCommMask(port, EventReceivedCharacter));
        Overlapped overlapped = {};
        overlapped.hEvent = pc.CreateEventW(nullptr, 1, 0, nullptr);
        DWORD count = 0;
        DWORD mask = 0;
        QVERIFY(pc.WriteFile(port, "ATZ\r", 4, &count, &overlapped));
        QVERIFY(pc.GetOverlappedResult(port, &overlapped, &count, 1));
        QCOMPARE(count, DWORD(4));
        pc.WaitCommEvent(port, &mask, &overlapped);
        QCOMPARE(pc.WaitForSingleObject(overlapped.hEvent, WaitInfinite), DWORD(WaitObject0));
        char buffer[100] = {};
        QVERIFY(pc.ReadFile(port, buffer, sizeof buffer, &count, &overlapped));
        QCOMPARE(QByteArray(buffer), QByteArray("\r\nOK\r\n"));

        pc.WaitCommEvent(port, &mask, &overlapped);
        phone.unplug(); // in the middle of a wait
        QCOMPARE(pc.WaitForSingleObject(overlapped.hEvent, WaitInfinite), DWORD(WaitFailed));
        QCOMPARE(pc.GetLastError(), DWORD(ErrorDeviceNotConnected));
        QVERIFY(pc.CloseHandle(overlapped.hEvent));
        QVERIFY(pc.CloseHandle(port));
        QCOMPARE(openPort(pc, 5), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
    }

    void refusesThePortOfAConnection()
    {
        TestMachine machine;
        installDriver(machine);
        SimulatedPc pc(machine.directory());
        ScriptedPhone phone(machine.directory());
        phone.publish(true);
        machine.change([&](simulated::MachineState &state) {
            simulated::Connection connection;
            connection.handle = 1;
            connection.plugId = phone.plugId();
            connection.port = 5;
            state.connections += connection;
        });
        QCOMPARE(openPort(pc, 5), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
        phone.publish(false); // the network ended it
        QVERIFY(openPort(pc, 5) != invalidHandle());
        QVERIFY(machine.state().connections.isEmpty());
    }

    void refusesOtherDeviceLists()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString usb = "USB";
        QCOMPARE(pc.SetupDiGetClassDevsW(nullptr, nullptr, nullptr, GetPresentDevices),
                 invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
        QCOMPARE(pc.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 0), invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QCOMPARE(pc.SetupDiGetClassDevsW(&PortsClassGuid, wide(usb), nullptr, GetPresentDevices),
                 invalidHandle());
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }
};

QTEST_GUILESS_MAIN(SimulatedPortsTest)
#include "simulated_ports_test.moc"
