// Calls every operation of platform/windows once as the program calls it, and
// once so that it fails, on the doubles of the system's libraries and on what
// Wine has itself. Held against each other are the results, the records, the
// code and the last error here, and the recorded calls in windowsplatform_test,
// which starts this program.

#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/platform.h"
#include "tests/windows/failingcalls.h"
#include "tests/windows/programcalls.h"

#include <QFile>
#include <QTest>

#include <windows.h>

#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace {

using platform::current;
using platform::HDEVINFO;
using namespace programcalls;

/// The texts of the machine that the doubles play.
void setMachine(const QStringList &more)
{
    const QStringList lines =
        QStringList{"port Communications Port (COM1)", "port USB Modem Driver (COM7)",
                    "rasdevice vpn|WAN Miniport (PPTP)", "rasdevice modem|MTK GPRS Modem",
                    "dial connect"} +
        more;
    QFile file(qEnvironmentVariable("DOUBLES") + "\\machine.txt");
    if (!file.open(QIODevice::WriteOnly))
        qFatal("the machine cannot be written");
    file.write(lines.join('\n').toUtf8() + '\n');
}

void setConnections(const QByteArray &names)
{
    QFile file(qEnvironmentVariable("DOUBLES") + "\\connections.txt");
    if (!file.open(QIODevice::WriteOnly))
        qFatal("the connections cannot be written");
    file.write(names);
}

QByteArray connections()
{
    QFile file(qEnvironmentVariable("DOUBLES") + "\\connections.txt");
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

Q_DECLARE_METATYPE(FailingCall)

class PlatformCalls : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void lastError();
    void memory();
    void events();
    void namedEvents();
    void foreground();
    void modules();
    void systemInformation();
    void process();
    void serialPort();
    void connectionsAreListedDialledAndEnded();
    void connectionsInRecordsOfTheSystem();
    void manyConnectionsInRecordsOfTheSystem();
    void phonebook();
    void drivers();
    void ports();
    void newModem();
    void configurationManager();
    void driverUpdate();
    void failingCall_data();
    void failingCall();
    void everyOperationWasCalled();

private:
    // Writes down which operations were called.
    platform::FaultInjectingPlatform m_platform{platform::backend({})};
    QStringList m_failed; ///< the operations that failed once
};

void PlatformCalls::initTestCase()
{
    platform::setCurrent(&m_platform);
}

void PlatformCalls::init()
{
    setMachine({});
    setConnections("Office\n");
}

void PlatformCalls::lastError()
{
    current().SetLastError(1234);
    QCOMPARE(::GetLastError(), DWORD{1234});
    ::SetLastError(4321);
    QCOMPARE(current().GetLastError(), platform::DWORD{4321});
}

void PlatformCalls::memory()
{
    const HANDLE heap = current().GetProcessHeap();
    QCOMPARE(heap, ::GetProcessHeap());
    constexpr int Bytes = 1184;
    void *block = current().HeapAlloc(heap, platform::HeapZeroMemory, Bytes);
    QVERIFY(block);
    QCOMPARE(::HeapSize(heap, 0, block), SIZE_T{Bytes});
    QCOMPARE(QByteArray(static_cast<char *>(block), Bytes), QByteArray(Bytes, '\0'));
    QCOMPARE(current().HeapFree(heap, 0, block), 1);

    block = current().LocalAlloc(platform::LocalZeroInit, Bytes);
    QVERIFY(block);
    QCOMPARE(::LocalSize(block), SIZE_T{Bytes});
    QCOMPARE(QByteArray(static_cast<char *>(block), Bytes), QByteArray(Bytes, '\0'));
    QVERIFY(!current().LocalFree(block));
}

void PlatformCalls::events()
{
    const HANDLE event = newEvent();
    QVERIFY(event);
    QCOMPARE(current().WaitForSingleObject(event, 0), platform::DWORD{WAIT_TIMEOUT});
    QVERIFY(::SetEvent(event));
    QCOMPARE(current().WaitForSingleObject(event, platform::WaitInfinite), platform::WaitObject0);
    // It is one that stays signalled.
    QCOMPARE(current().WaitForSingleObject(event, 0), platform::WaitObject0);
    QCOMPARE(current().CloseHandle(event), 1);
    DWORD flags = 0;
    QVERIFY(!::GetHandleInformation(event, &flags));
}

// A second handle of the same name is of the same event.
void PlatformCalls::namedEvents()
{
    platform::HANDLE events[2];
    platform::DWORD errors[2];
    for (int i = 0; i < 2; ++i) {
        platform::SecurityAttributes rights = {sizeof rights, nullptr, 0};
        QCOMPARE(eventRights(&rights), 1);
        QVERIFY(::IsValidSecurityDescriptor(rights.lpSecurityDescriptor));
        events[i] = namedEvent(&rights);
        errors[i] = current().GetLastError();
        QVERIFY(!current().LocalFree(rights.lpSecurityDescriptor));
        QVERIFY(events[i]);
    }
    QCOMPARE(errors[0], platform::Success);
    QCOMPARE(errors[1], platform::ErrorAlreadyExists);
    QCOMPARE(current().SetEvent(events[1]), 1);
    QCOMPARE(current().WaitForSingleObject(events[0], 0), platform::WaitObject0);
    QCOMPARE(current().WaitForSingleObject(events[0], 0), platform::DWORD{WAIT_TIMEOUT});
    QCOMPARE(current().CloseHandle(events[0]), 1);
    QCOMPARE(current().CloseHandle(events[1]), 1);
}

void PlatformCalls::foreground()
{
    QCOMPARE(current().AllowSetForegroundWindow(platform::AnyProcess), 1);
    // Everybody is one under Wine, unless the machine says otherwise.
    QCOMPARE(current().IsUserAnAdmin(), 1);
    setMachine({"fail IsUserAnAdmin * 0"});
    QCOMPARE(current().IsUserAnAdmin(), 0);
    setMachine({});
}

void PlatformCalls::modules()
{
    const platform::HMODULE kernel = current().GetModuleHandleW(L"kernel32.dll");
    QVERIFY(kernel);
    QCOMPARE(kernel, platform::HMODULE(::GetModuleHandleW(L"kernel32.dll")));
    const auto native = reinterpret_cast<platform::GetNativeSystemInfoFunction>(
        current().GetProcAddress(kernel, "GetNativeSystemInfo"));
    QVERIFY(native);
    platform::SystemInfo answered = {};
    native(&answered);
    QCOMPARE(answered.wProcessorArchitecture, platform::ArchitectureX64);

    QVERIFY(!::GetModuleHandleW(L"newdev.dll"));
    const platform::HMODULE library = current().LoadLibraryW(L"newdev.dll");
    QCOMPARE(library, platform::HMODULE(::GetModuleHandleW(L"newdev.dll")));
    QVERIFY(library);
    QCOMPARE(current().FreeLibrary(library), 1);
    QVERIFY(!::GetModuleHandleW(L"newdev.dll"));
}

void PlatformCalls::systemInformation()
{
    platform::OsVersionInfoEx version = {};
    version.dwOSVersionInfoSize = sizeof version;
    QCOMPARE(current().GetVersionExW(&version), 1);
    OSVERSIONINFOEXW systems = {};
    systems.dwOSVersionInfoSize = sizeof systems;
    QVERIFY(::GetVersionExW(reinterpret_cast<OSVERSIONINFOW *>(&systems)));
    QCOMPARE(version.dwMajorVersion, platform::DWORD{systems.dwMajorVersion});
    QVERIFY(version.dwMajorVersion >= 5);
    QCOMPARE(std::memcmp(&version, &systems, sizeof systems), 0);

    QCOMPARE(current().GetSystemMetrics(platform::MetricServerR2), ::GetSystemMetrics(89));
    QVERIFY(::GetSystemMetrics(SM_CXSCREEN) > 0);
    QCOMPARE(current().GetSystemMetrics(SM_CXSCREEN), ::GetSystemMetrics(SM_CXSCREEN));

    platform::SystemInfo information = {};
    current().GetSystemInfo(&information);
    SYSTEM_INFO systemsInformation = {};
    ::GetSystemInfo(&systemsInformation);
    QCOMPARE(std::memcmp(&information, &systemsInformation, sizeof information), 0);
    QCOMPARE(information.wProcessorArchitecture, platform::ArchitectureX64);
}

void PlatformCalls::process()
{
    platform::ProcessInformation started = {};
    QCOMPARE(startInstaller(&started), 1);
    QCOMPARE(::GetProcessId(started.hProcess), DWORD{started.dwProcessId});
    QVERIFY(started.dwProcessId != 0);
    QCOMPARE(current().WaitForSingleObject(started.hProcess, platform::WaitInfinite),
             platform::WaitObject0);
    DWORD code = 1;
    QVERIFY(::GetExitCodeProcess(started.hProcess, &code));
    QCOMPARE(code, DWORD{0});
    QCOMPARE(current().CloseHandle(started.hProcess), 1);
    QCOMPARE(current().CloseHandle(started.hThread), 1);
}

// The phone on the port answers, so the bytes went through both ways.
void PlatformCalls::serialPort()
{
    const HANDLE port = openPort();
    QVERIFY(port != platform::invalidHandle());
    QCOMPARE(setState(port), 1);
    platform::DeviceControlBlock state;
    QCOMPARE(getState(port, &state), 1);
    QCOMPARE(state.BaudRate, platform::BaudRate9600);
    QCOMPARE(int{state.ByteSize}, 8);
    QCOMPARE(setTimeouts(port), 1);
    COMMTIMEOUTS timeouts = {};
    QVERIFY(::GetCommTimeouts(port, &timeouts));
    QCOMPARE(timeouts.ReadIntervalTimeout, DWORD{platform::MaxDword});
    QCOMPARE(setMask(port), 1);
    DWORD mask = 0;
    QVERIFY(::GetCommMask(port, &mask));
    QCOMPARE(mask, DWORD{5});

    platform::Overlapped writing = {};
    writing.hEvent = newEvent();
    if (!writeAt(port, &writing))
        QCOMPARE(current().GetLastError(), platform::ErrorIoPending);
    platform::DWORD written = 0;
    QCOMPARE(current().GetOverlappedResult(port, &writing, &written, 1), 1);
    QCOMPARE(written, platform::DWORD{3});

    platform::Overlapped reading = {};
    reading.hEvent = newEvent();
    QByteArray answer;
    while (!answer.endsWith("OK\r\n")) {
        platform::DWORD happened = 0;
        if (!current().WaitCommEvent(port, &happened, &reading))
            QCOMPARE(current().GetLastError(), platform::ErrorIoPending);
        QCOMPARE(current().WaitForSingleObject(reading.hEvent, platform::WaitInfinite),
                 platform::WaitObject0);
        readAnswer(port, &reading, &answer);
    }
    QCOMPARE(answer, QByteArray("\r\nOK\r\n"));
    QCOMPARE(current().CloseHandle(port), 1);
}

void PlatformCalls::connectionsAreListedDialledAndEnded()
{
    platform::RasDialDialog dialog;
    QCOMPARE(dial(&dialog), 1);
    QCOMPARE(connections(), QByteArray("Office\nTolvaneModem 1\n"));

    std::vector<platform::RasConnection> list;
    platform::DWORD count = 0;
    QCOMPARE(enumerateConnections(&list, &count), platform::Success);
    QCOMPARE(count, platform::DWORD{2});
    QCOMPARE(QString::fromWCharArray(list[0].szEntryName), QString("Office"));
    QCOMPARE(QString::fromWCharArray(list[1].szEntryName), QString("TolvaneModem 1"));
    QCOMPARE(current().RasHangUpW(list[0].hrasconn), platform::Success);
    QCOMPARE(connections(), QByteArray("TolvaneModem 1\n"));
}

// A system that knows only the documented sizes is asked once more; the program
// does not notice.
void PlatformCalls::connectionsInRecordsOfTheSystem()
{
    setConnections("Office\nTolvaneModem 1\n");
    std::vector<platform::RasConnection> lists[2];
    for (const char *sizes : {"all", "documented"}) {
        setMachine({QString("connectionsizes ") + sizes});
        std::vector<platform::RasConnection> &list = lists[sizes[0] == 'a' ? 0 : 1];
        platform::DWORD count = 0;
        platform::DWORD bytes = 0;
        QCOMPARE(enumerateConnections(&list, &count, &bytes), platform::Success);
        QCOMPARE(count, platform::DWORD{2});
        QCOMPARE(bytes, platform::DWORD{2 * 1360});
        QCOMPARE(list.size(), size_t{100});
    }
    QCOMPARE(std::memcmp(lists[0].data(), lists[1].data(), sizeof lists[0][0] * 100), 0);
    QCOMPARE(QString::fromWCharArray(lists[1][1].szEntryName), QString("TolvaneModem 1"));
    QCOMPARE(lists[1][1].dwSize, platform::RasConnectionSize);
    QCOMPARE(current().RasHangUpW(lists[1][1].hrasconn), platform::Success);
    QCOMPARE(connections(), QByteArray("Office\n"));
}

// The system's larger records do not make fewer of them fit.
void PlatformCalls::manyConnectionsInRecordsOfTheSystem()
{
    setMachine({"connectionsizes documented"});
    QByteArray names;
    for (int i = 0; i < 100; ++i)
        names += "Entry " + QByteArray::number(i) + '\n';
    setConnections(names);
    std::vector<platform::RasConnection> list;
    platform::DWORD count = 0;
    platform::DWORD bytes = 0;
    QCOMPARE(enumerateConnections(&list, &count, &bytes), platform::Success);
    QCOMPARE(count, platform::DWORD{100});
    QCOMPARE(QString::fromWCharArray(list[99].szEntryName), QString("Entry 99"));

    setConnections(names + "One more\n");
    QCOMPARE(enumerateConnections(&list, &count, &bytes), platform::RasErrorBufferTooSmall);
    QCOMPARE(bytes, platform::DWORD{101 * 1360});
    QCOMPARE(count, platform::DWORD{101});
    QCOMPARE(list[0].hrasconn, nullptr);
}

void PlatformCalls::phonebook()
{
    platform::DWORD bytes = 0;
    platform::DWORD count = 0;
    QCOMPARE(current().RasEnumDevicesW(nullptr, &bytes, &count), platform::RasErrorBufferTooSmall);
    QCOMPARE(bytes, platform::DWORD{2 * sizeof(platform::RasDeviceInfo)});
    std::vector<platform::RasDeviceInfo> devices(2);
    devices[0].dwSize = platform::RasDeviceInfoSize;
    QCOMPARE(current().RasEnumDevicesW(devices.data(), &bytes, &count), platform::Success);
    QCOMPARE(count, platform::DWORD{2});
    QCOMPARE(QString::fromWCharArray(devices[1].szDeviceType), QString("modem"));
    QCOMPARE(QString::fromWCharArray(devices[1].szDeviceName), QString("MTK GPRS Modem"));

    platform::DWORD size = 0;
    QCOMPARE(current().RasGetEntryPropertiesW(nullptr, L"", nullptr, &size, nullptr, nullptr),
             platform::RasErrorBufferTooSmall);
    QCOMPARE(size, platform::DWORD{5680});
    std::vector<BYTE> block;
    platform::RasEntry *entry = nullptr;
    QCOMPARE(defaultEntry(&block, &entry), platform::Success);
    QCOMPARE(entry->dwfOptions, platform::DWORD{0x01200308});
    QCOMPARE(storeEntry(), platform::Success);
}

void PlatformCalls::drivers()
{
    QCOMPARE(copyInf(), 1);
    platform::Guid guid = {};
    std::vector<WCHAR> name;
    QCOMPARE(infClass(&guid, &name), 1);
    QVERIFY(guid == modemClass);
    QCOMPARE(QString::fromWCharArray(name.data()), QString("Modem"));
}

void PlatformCalls::ports()
{
    const HDEVINFO set = presentPorts();
    QVERIFY(set != platform::invalidHandle());
    platform::DeviceInfoData device;
    QCOMPARE(deviceAt(set, 1, &device), 1);
    QVERIFY(device.ClassGuid == platform::PortsClassGuid);
    QCOMPARE(device.DevInst, platform::DEVINST{2});

    platform::DWORD type = 0;
    platform::DWORD required = 0;
    QCOMPARE(current().SetupDiGetDeviceRegistryPropertyW(
                 set, &device, platform::PropertyFriendlyName, &type, nullptr, 0, &required),
             0);
    QCOMPARE(current().GetLastError(), platform::ErrorInsufficientBuffer);
    // The program's block has twice the bytes that it tells of.
    std::vector<BYTE> name(required * 2);
    QCOMPARE(current().SetupDiGetDeviceRegistryPropertyW(set, &device,
                                                         platform::PropertyFriendlyName, &type,
                                                         name.data(), required, &required),
             1);
    QCOMPARE(type, platform::RegistryString);
    QCOMPARE(QString::fromWCharArray(reinterpret_cast<WCHAR *>(name.data())),
             QString("USB Modem Driver (COM7)"));
    QCOMPARE(current().SetupDiDestroyDeviceInfoList(set), 1);
}

void PlatformCalls::newModem()
{
    NewModem modem;
    QVERIFY(modem.set != platform::invalidHandle());
    QCOMPARE(modem.create(), 1);
    QVERIFY(modem.device.ClassGuid == modemClass);
    WCHAR id[500] = {};
    QCOMPARE(modem.instanceId(id, 500), 1);
    QCOMPARE(QString::fromWCharArray(id), QString("ROOT\\MODEM\\0000"));
    QCOMPARE(modem.setHardwareId(), 1);
    QCOMPARE(modem.registerDevice(), 1);

    QCOMPARE(modem.openKey(), platform::invalidHandle());
    QCOMPARE(current().GetLastError(), platform::ErrorKeyDoesNotExist);
    const auto key = static_cast<HKEY>(modem.createKey());
    QVERIFY(key != platform::invalidHandle());
    QCOMPARE(attach(key), platform::LONG{0});
    WCHAR value[10] = {};
    DWORD bytes = sizeof value;
    QCOMPARE(::RegGetValueW(key, nullptr, L"AttachedTo", RRF_RT_REG_SZ, nullptr, value, &bytes),
             LONG{0});
    QCOMPARE(QString::fromWCharArray(value), QString("COM7"));
    QCOMPARE(current().RegCloseKey(key), platform::LONG{0});
    QCOMPARE(::RegQueryValueExW(key, L"AttachedTo", nullptr, nullptr, nullptr, nullptr),
             LONG{ERROR_INVALID_HANDLE});
    QCOMPARE(modem.registerDevice(), 1);

    setMachine({"selecteddriver yes"});
    QCOMPARE(modem.selectedDriver(), 1);
    QCOMPARE(modem.remove(), 1);

    setMachine({"driverkey exists"});
    const platform::HKEY existing = modem.openKey();
    QVERIFY(existing != platform::invalidHandle());
    QCOMPARE(current().RegCloseKey(existing), platform::LONG{0});
}

void PlatformCalls::configurationManager()
{
    platform::DEVINST root = 0;
    QCOMPARE(locateRoot(&root), platform::ConfigSuccess);
    QVERIFY(root != 0);
    QCOMPARE(rescan(), platform::ConfigSuccess);
    QVERIFY(!::GetModuleHandleW(L"cfgmgr32.dll"));
}

void PlatformCalls::driverUpdate()
{
    BOOL reboot = 0;
    QCOMPARE(updateDriver(&reboot), 1);
    QCOMPARE(reboot, 0);
    setMachine({"reboot yes"});
    QCOMPARE(updateDriver(&reboot), 1);
    QCOMPARE(reboot, 1);
}

// A double fails as it is told to; the system fails by itself.
void PlatformCalls::failingCall_data()
{
    QTest::addColumn<FailingCall>("failing");
    for (const FailingCall &failing : failingCalls())
        QTest::newRow(failing.operation) << failing;
}

void PlatformCalls::failingCall()
{
    QFETCH(FailingCall, failing);
    const QString operation = failing.operation;
    if (failing.isScripted)
        setMachine({QString("fail %1 * %2").arg(operation).arg(failing.code)});
    current().SetLastError(0);
    const quint64 result = failing.call();
    const quint64 error = current().GetLastError();
    QCOMPARE(result, failing.result);
    if (failing.setsLastError)
        QCOMPARE(error, quint64{failing.code});
    m_failed.append(operation);
}

void PlatformCalls::everyOperationWasCalled()
{
    // What is bound at run time has no slot of its own here: its address was
    // asked for, and called.
    const QStringList boundAtRunTime = {"CM_Locate_DevNode_ExA", "CM_Reenumerate_DevNode_Ex",
                                        "GetNativeSystemInfo",
                                        "UpdateDriverForPlugAndPlayDevicesW"};
    QStringList notProvided;
    const QStringList calls = m_platform.calls();
    for (const platform::AnyOperation *operation : platform::backend({}).allOperations()) {
        const QString name = operation->name();
        const QString call =
            operation->isProvided() ? '\n' + name + '(' : QString(", \"%1\")").arg(name);
        if (!operation->isProvided())
            notProvided.append(name);
        // lastError() calls these two, which are not written down.
        if (name != "GetLastError" && name != "SetLastError")
            QVERIFY2(('\n' + calls.join('\n')).contains(call),
                     qPrintable(name + " was not called"));
    }
    notProvided.sort();
    QCOMPARE(notProvided, boundAtRunTime);

    const QStringList failing = platform::FaultInjectingPlatform::failingOperations();
    // What is not a block must not be given back to a real heap.
    const QStringList neverFailing = {"HeapFree", "LocalFree"};
    for (const QString &operation : failing)
        QVERIFY2(m_failed.contains(operation) != neverFailing.contains(operation),
                 qPrintable(operation + " did not fail once"));
}

QTEST_GUILESS_MAIN(PlatformCalls)
#include "platformcalls.moc"
