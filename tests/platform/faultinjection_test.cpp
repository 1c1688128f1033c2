#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/text.h"
#include "tests/support/scriptedmachine.h"

#include <QTest>

#include <functional>
#include <thread>
#include <vector>

using namespace platform;

namespace {

/// How an operation tells that it failed.
enum class Failure {
    Zero,          // zero or null, with the last error
    InvalidHandle, // the invalid handle, with the last error
    WaitFailed,    // WAIT_FAILED, with the last error
    Code,          // its result is the code
    Block,         // hands the block back, with the last error
};

const QString portPath = "\\\\.\\COM5";
const QString text = "text";
BYTE block[64] = {};

template<typename Value> quint64 number(Value value)
{
    if constexpr (std::is_pointer_v<Value>)
        return reinterpret_cast<quint64>(value);
    else
        return static_cast<quint64>(static_cast<std::make_unsigned_t<Value>>(value));
}

struct Operation {
    QString name;
    Failure failure;
    std::function<quint64(Platform &)> call;
};

/// Every operation that can fail, called with arguments of no consequence.
QList<Operation> operations()
{
    static Overlapped overlapped{};
    static DeviceControlBlock settings{};
    static CommTimeouts timeouts{};
    static DeviceInfoData device{};
    static DriverInfoData driver{};
    static StartupInfo startup{};
    static ProcessInformation process{};
    static OsVersionInfoEx version{};
    static RasConnection connection{};
    static RasDeviceInfo rasDevice{};
    static RasEntry entry{};
    static RasDialDialog dialog{};
    static Guid guid{};
    static DWORD dword = 0;
    static WCHAR buffer[32] = {};
    static const HANDLE handle = reinterpret_cast<HANDLE>(ULONG_PTR{0x10});
    const WCHAR *path = wide(portPath);

    QList<Operation> all;
    const auto add = [&](const char *name, Failure failure, const auto &call) {
        all.append({name, failure, [call](Platform &p) { return number(call(p)); }});
    };
    add("CreateEventW", Failure::Zero,
        [](Platform &p) { return p.CreateEventW(nullptr, 1, 0, nullptr); });
    add("WaitForSingleObject", Failure::WaitFailed,
        [](Platform &p) { return p.WaitForSingleObject(handle, 0); });
    add("CloseHandle", Failure::Zero, [](Platform &p) { return p.CloseHandle(handle); });
    add("HeapAlloc", Failure::Zero, [](Platform &p) { return p.HeapAlloc(handle, 8, 16); });
    add("HeapFree", Failure::Zero, [](Platform &p) { return p.HeapFree(handle, 0, block); });
    add("LocalAlloc", Failure::Zero, [](Platform &p) { return p.LocalAlloc(64, 16); });
    add("LocalFree", Failure::Block, [](Platform &p) { return p.LocalFree(block); });
    add("GetModuleHandleW", Failure::Zero,
        [](Platform &p) { return p.GetModuleHandleW(wide(text)); });
    add("LoadLibraryW", Failure::Zero, [](Platform &p) { return p.LoadLibraryW(wide(text)); });
    add("GetProcAddress", Failure::Zero,
        [](Platform &p) { return p.GetProcAddress(handle, "name"); });
    add("FreeLibrary", Failure::Zero, [](Platform &p) { return p.FreeLibrary(handle); });
    add("CreateProcessW", Failure::Zero, [path](Platform &p) {
        return p.CreateProcessW(path, buffer, nullptr, nullptr, 0, 0, nullptr, nullptr, &startup,
                                &process);
    });
    add("RasEnumConnectionsW", Failure::Code,
        [](Platform &p) { return p.RasEnumConnectionsW(&connection, &dword, &dword); });
    add("RasHangUpW", Failure::Code, [](Platform &p) { return p.RasHangUpW(handle); });
    add("RasDialDlgW", Failure::Zero,
        [](Platform &p) { return p.RasDialDlgW(nullptr, buffer, buffer, &dialog); });
    add("RasEnumDevicesW", Failure::Code,
        [](Platform &p) { return p.RasEnumDevicesW(&rasDevice, &dword, &dword); });
    add("RasGetEntryPropertiesW", Failure::Code, [](Platform &p) {
        return p.RasGetEntryPropertiesW(nullptr, buffer, &entry, &dword, nullptr, nullptr);
    });
    add("RasSetEntryPropertiesW", Failure::Code, [](Platform &p) {
        return p.RasSetEntryPropertiesW(nullptr, buffer, &entry, 0, nullptr, 0);
    });
    add("RegSetValueExW", Failure::Code,
        [](Platform &p) { return p.RegSetValueExW(handle, wide(text), 0, 1, block, 2); });
    add("RegCloseKey", Failure::Code, [](Platform &p) { return p.RegCloseKey(handle); });
    add("CreateFileW", Failure::InvalidHandle,
        [path](Platform &p) { return p.CreateFileW(path, 0, 0, nullptr, 3, 0, nullptr); });
    add("GetCommState", Failure::Zero,
        [](Platform &p) { return p.GetCommState(handle, &settings); });
    add("SetCommState", Failure::Zero,
        [](Platform &p) { return p.SetCommState(handle, &settings); });
    add("SetCommTimeouts", Failure::Zero,
        [](Platform &p) { return p.SetCommTimeouts(handle, &timeouts); });
    add("SetCommMask", Failure::Zero, [](Platform &p) { return p.SetCommMask(handle, 5); });
    add("WaitCommEvent", Failure::Zero,
        [](Platform &p) { return p.WaitCommEvent(handle, &dword, &overlapped); });
    add("ReadFile", Failure::Zero,
        [](Platform &p) { return p.ReadFile(handle, block, 8, &dword, &overlapped); });
    add("WriteFile", Failure::Zero,
        [](Platform &p) { return p.WriteFile(handle, block, 8, &dword, &overlapped); });
    add("GetOverlappedResult", Failure::Zero,
        [](Platform &p) { return p.GetOverlappedResult(handle, &overlapped, &dword, 1); });
    add("SetupCopyOEMInfW", Failure::Zero, [path](Platform &p) {
        return p.SetupCopyOEMInfW(path, path, 0, 0, nullptr, 0, nullptr, nullptr);
    });
    add("SetupDiGetINFClassW", Failure::Zero,
        [path](Platform &p) { return p.SetupDiGetINFClassW(path, &guid, buffer, 32, nullptr); });
    add("SetupDiGetClassDevsW", Failure::InvalidHandle,
        [](Platform &p) { return p.SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, 2); });
    add("SetupDiCreateDeviceInfoList", Failure::InvalidHandle,
        [](Platform &p) { return p.SetupDiCreateDeviceInfoList(&guid, nullptr); });
    add("SetupDiDestroyDeviceInfoList", Failure::Zero,
        [](Platform &p) { return p.SetupDiDestroyDeviceInfoList(handle); });
    add("SetupDiEnumDeviceInfo", Failure::Zero,
        [](Platform &p) { return p.SetupDiEnumDeviceInfo(handle, 0, &device); });
    add("SetupDiGetDeviceRegistryPropertyW", Failure::Zero, [](Platform &p) {
        return p.SetupDiGetDeviceRegistryPropertyW(handle, &device, 12, &dword, block, 8, &dword);
    });
    add("SetupDiSetDeviceRegistryPropertyW", Failure::Zero, [](Platform &p) {
        return p.SetupDiSetDeviceRegistryPropertyW(handle, &device, 1, block, 8);
    });
    add("SetupDiCreateDeviceInfoW", Failure::Zero, [](Platform &p) {
        return p.SetupDiCreateDeviceInfoW(handle, wide(text), &guid, nullptr, nullptr, 1, &device);
    });
    add("SetupDiGetDeviceInstanceIdW", Failure::Zero, [](Platform &p) {
        return p.SetupDiGetDeviceInstanceIdW(handle, &device, buffer, 32, &dword);
    });
    add("SetupDiRegisterDeviceInfo", Failure::Zero, [](Platform &p) {
        return p.SetupDiRegisterDeviceInfo(handle, &device, 0, nullptr, nullptr, nullptr);
    });
    add("SetupDiCallClassInstaller", Failure::Zero,
        [](Platform &p) { return p.SetupDiCallClassInstaller(5, handle, &device); });
    add("SetupDiOpenDevRegKey", Failure::InvalidHandle,
        [](Platform &p) { return p.SetupDiOpenDevRegKey(handle, &device, 1, 0, 2, 0); });
    add("SetupDiCreateDevRegKeyW", Failure::InvalidHandle, [](Platform &p) {
        return p.SetupDiCreateDevRegKeyW(handle, &device, 1, 0, 2, nullptr, nullptr);
    });
    add("SetupDiGetSelectedDriverW", Failure::Zero,
        [](Platform &p) { return p.SetupDiGetSelectedDriverW(handle, &device, &driver); });
    add("GetVersionExW", Failure::Zero, [](Platform &p) { return p.GetVersionExW(&version); });
    return all;
}

} // namespace

class FaultInjectionTest : public QObject
{
    Q_OBJECT

private slots:
    void operationFails_data();
    void operationFails();
    void namesOfTheOperations();
    void operationsThatCannotFail();
    void callsAreDescribed();
    void oneCallFails();
    void allLaterCallsFail();
    void anyOperation();
    void severalFaults();
    void resetForgets();
    void backendIsNotCalled();
    void boundFunctions();
    void otherBoundFunctionsPassThrough();
    void functionOfADestroyedDecoratorIsNotItsSuccessors();
    void manyThreads();
};

void FaultInjectionTest::operationFails_data()
{
    QTest::addColumn<int>("index");
    const auto all = operations();
    for (int i = 0; i < all.size(); ++i)
        QTest::newRow(qPrintable(all.at(i).name)) << i;
}

void FaultInjectionTest::operationFails()
{
    QFETCH(const int, index);
    const Operation operation = operations().at(index);
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    const DWORD code = 0x1234;
    injector.inject({operation.name, 1, code, false});
    machine.SetLastError(99);

    quint64 expected = 0;
    switch (operation.failure) {
    case Failure::Zero:
        break;
    case Failure::InvalidHandle:
        expected = number(invalidHandle());
        break;
    case Failure::WaitFailed:
        expected = number(WaitFailed);
        break;
    case Failure::Code:
        expected = code;
        break;
    case Failure::Block:
        expected = number(&block[0]);
        break;
    }
    QCOMPARE(operation.call(injector), expected);
    // Functions whose result is the code leave the last error alone.
    QCOMPARE(injector.GetLastError(), operation.failure == Failure::Code ? DWORD{99} : code);
    QCOMPARE(injector.operations(), QStringList({operation.name}));
    QVERIFY(injector.calls().first().startsWith(operation.name + '('));
    QCOMPARE(injector.firedFaults(), 1);
    // The backend saw nothing of it.
    QCOMPARE(machine.misuses(), 0);
}

void FaultInjectionTest::namesOfTheOperations()
{
    QStringList names = {"CM_Locate_DevNode_ExA", "CM_Reenumerate_DevNode_Ex",
                         "UpdateDriverForPlugAndPlayDevicesW"};
    for (const Operation &operation : operations())
        names.append(operation.name);
    names.sort();
    QCOMPARE(FaultInjectingPlatform::failingOperations(), names);
}

void FaultInjectionTest::operationsThatCannotFail()
{
    ScriptedMachine machine;
    machine.serverR2 = 7;
    machine.emulatedArchitecture = 6;
    FaultInjectingPlatform injector(machine);
    for (const char *name : {"GetProcessHeap", "GetSystemMetrics", "GetSystemInfo", "GetLastError"})
        injector.inject({name, 1, 5, true});
    injector.SetLastError(77);
    QCOMPARE(injector.GetLastError(), DWORD{77});
    QCOMPARE(injector.GetProcessHeap(), machine.GetProcessHeap());
    QCOMPARE(injector.GetSystemMetrics(89), 7);
    SystemInfo information{};
    injector.GetSystemInfo(&information);
    QCOMPARE(information.wProcessorArchitecture, WORD{6});
    QCOMPARE(injector.calls(),
             QStringList({"GetProcessHeap()", "GetSystemMetrics(89)", "GetSystemInfo(&)"}));
    QCOMPARE(injector.firedFaults(), 0);
}

void FaultInjectionTest::callsAreDescribed()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    const HANDLE port = injector.CreateFileW(wide(portPath), 0xC0000000, 0, nullptr, 3, 1, nullptr);
    Overlapped overlapped{};
    overlapped.hEvent = injector.CreateEventW(nullptr, true, false, nullptr);
    DWORD written = 0;
    injector.WriteFile(port, "AT\r", 3, &written, &overlapped);
    injector.GetProcAddress(nullptr, "name");
    injector.CloseHandle(nullptr);
    injector.CloseHandle(invalidHandle());
    QCOMPARE(injector.calls(),
             QStringList({"CreateFileW(\"\\\\.\\COM5\", 3221225472, 0, null, 3, 1, null)",
                          "CreateEventW(null, 1, 0, null)", "WriteFile(0x10, &, 3, &, &)",
                          "GetProcAddress(null, \"name\")", "CloseHandle(null)",
                          "CloseHandle(0xffffffffffffffff)"}));
    QCOMPARE(injector.operations(), QStringList({"CreateFileW", "CreateEventW", "WriteFile",
                                                 "GetProcAddress", "CloseHandle", "CloseHandle"}));
    QCOMPARE(machine.written, QByteArray("AT\r"));
}

void FaultInjectionTest::oneCallFails()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"CreateEventW", 2, 8, false});
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    injector.GetProcessHeap();
    QVERIFY(!injector.CreateEventW(nullptr, 1, 0, nullptr));
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    QCOMPARE(injector.firedFaults(), 1);
    QCOMPARE(machine.openEvents(), 2);
}

void FaultInjectionTest::allLaterCallsFail()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"CreateEventW", 2, 8, true});
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    for (int i = 0; i < 3; ++i)
        QVERIFY(!injector.CreateEventW(nullptr, 1, 0, nullptr));
    QCOMPARE(injector.firedFaults(), 3);
}

void FaultInjectionTest::anyOperation()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"*", 3, 8, false});
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    injector.GetProcessHeap(); // cannot fail and does not count
    QCOMPARE(injector.RasHangUpW(nullptr), DWORD{6});
    QVERIFY(!injector.LocalAlloc(64, 16));
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    QCOMPARE(injector.firedFaults(), 1);
}

void FaultInjectionTest::severalFaults()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"RasHangUpW", 1, 11, false});
    injector.inject({"RasHangUpW", 3, 33, false});
    QCOMPARE(injector.RasHangUpW(nullptr), DWORD{11});
    QCOMPARE(injector.RasHangUpW(nullptr), DWORD{6});
    QCOMPARE(injector.RasHangUpW(nullptr), DWORD{33});
    QCOMPARE(injector.firedFaults(), 2);
}

void FaultInjectionTest::resetForgets()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"CreateEventW", 1, 8, true});
    injector.CreateEventW(nullptr, 1, 0, nullptr);
    injector.reset();
    QCOMPARE(injector.calls(), QStringList());
    QCOMPARE(injector.operations(), QStringList());
    QCOMPARE(injector.firedFaults(), 0);
    QVERIFY(injector.CreateEventW(nullptr, 1, 0, nullptr));
    // Calls are counted from the reset on.
    injector.inject({"CreateEventW", 2, 8, false});
    QVERIFY(!injector.CreateEventW(nullptr, 1, 0, nullptr));
}

void FaultInjectionTest::backendIsNotCalled()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"CreateFileW", 1, 5, false});
    injector.CreateFileW(wide(portPath), 0, 0, nullptr, 3, 0, nullptr);
    QCOMPARE(machine.openedPath, QString());
    QCOMPARE(machine.openPorts(), 0);
}

void FaultInjectionTest::boundFunctions()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    const QString manager = "cfgmgr32.dll";
    const HMODULE library = injector.LoadLibraryW(wide(manager));
    const auto locate = reinterpret_cast<CmLocateDevNodeFunction>(
        injector.GetProcAddress(library, "CM_Locate_DevNode_ExA"));
    const auto reenumerate = reinterpret_cast<CmReenumerateDevNodeFunction>(
        injector.GetProcAddress(library, "CM_Reenumerate_DevNode_Ex"));
    const QString newdev = "newdev.dll";
    const HMODULE updates = injector.LoadLibraryW(wide(newdev));
    const auto update = reinterpret_cast<UpdateDriverFunction>(
        injector.GetProcAddress(updates, "UpdateDriverForPlugAndPlayDevicesW"));
    injector.reset();

    injector.inject({"CM_Locate_DevNode_ExA", 2, 13, false});
    injector.inject({"CM_Reenumerate_DevNode_Ex", 2, 14, false});
    injector.inject({"UpdateDriverForPlugAndPlayDevicesW", 2, 0xE0000235, false});
    DEVINST node = 0;
    QCOMPARE(locate(&node, nullptr, 0, nullptr), DWORD{0});
    QCOMPARE(node, DEVINST{1});
    QCOMPARE(locate(&node, nullptr, 0, nullptr), DWORD{13});
    QCOMPARE(reenumerate(1, 0, nullptr), DWORD{0});
    QCOMPARE(reenumerate(1, 0, nullptr), DWORD{14});
    BOOL reboot = 5;
    QCOMPARE(update(nullptr, wide(text), wide(text), 1, &reboot), 1);
    QCOMPARE(reboot, 0);
    QCOMPARE(update(nullptr, wide(text), wide(text), 1, nullptr), 0);
    QCOMPARE(injector.GetLastError(), DWORD{0xE0000235});
    QCOMPARE(
        injector.calls(),
        QStringList(
            {"CM_Locate_DevNode_ExA(&, null, 0, null)", "CM_Locate_DevNode_ExA(&, null, 0, null)",
             "CM_Reenumerate_DevNode_Ex(1, 0, null)", "CM_Reenumerate_DevNode_Ex(1, 0, null)",
             "UpdateDriverForPlugAndPlayDevicesW(null, \"text\", \"text\", 1, &)",
             "UpdateDriverForPlugAndPlayDevicesW(null, \"text\", \"text\", 1, null)"}));
}

void FaultInjectionTest::otherBoundFunctionsPassThrough()
{
    ScriptedMachine machine;
    machine.architecture = 6;
    FaultInjectingPlatform injector(machine);
    const QString kernel = "kernel32.dll";
    const HMODULE module = injector.GetModuleHandleW(wide(kernel));
    const auto info = reinterpret_cast<GetNativeSystemInfoFunction>(
        injector.GetProcAddress(module, "GetNativeSystemInfo"));
    SystemInfo information{};
    info(&information);
    QCOMPARE(information.wProcessorArchitecture, WORD{6});
    QVERIFY(!injector.GetProcAddress(module, "NoSuchFunction"));
    QCOMPARE(injector.GetLastError(), ErrorProcedureNotFound);
}

void FaultInjectionTest::functionOfADestroyedDecoratorIsNotItsSuccessors()
{
    ScriptedMachine machine;
    const QString manager = "cfgmgr32.dll";
    {
        FaultInjectingPlatform first(machine);
        first.inject({"CM_Reenumerate_DevNode_Ex", 1, 14, true});
        first.GetProcAddress(first.LoadLibraryW(wide(manager)), "CM_Reenumerate_DevNode_Ex");
    }
    FaultInjectingPlatform second(machine);
    const auto reenumerate = reinterpret_cast<CmReenumerateDevNodeFunction>(
        second.GetProcAddress(second.LoadLibraryW(wide(manager)), "CM_Reenumerate_DevNode_Ex"));
    QCOMPARE(reenumerate(1, 0, nullptr), DWORD{0});
    QCOMPARE(second.operations().last(), QString("CM_Reenumerate_DevNode_Ex"));
}

void FaultInjectionTest::manyThreads()
{
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    injector.inject({"CreateEventW", 250, 8, false});
    std::vector<std::thread> threads;
    std::atomic<int> failed{0};
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int call = 0; call < 100; ++call) {
                if (!injector.CreateEventW(nullptr, 1, 0, nullptr))
                    ++failed;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(failed.load(), 1);
    QCOMPARE(machine.openEvents(), 399);
    QCOMPARE(injector.calls().size(), 400);
}

QTEST_GUILESS_MAIN(FaultInjectionTest)
#include "faultinjection_test.moc"
