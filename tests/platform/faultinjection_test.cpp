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

/// An argument of no consequence.
template<typename Type> Type anything()
{
    if constexpr (std::is_same_v<Type, void *>)
        return block;
    else
        return Type();
}

/// An operation, to be called with arguments of no consequence.
class Slot
{
public:
    template<typename Family, typename Result, typename... Arguments>
    explicit Slot(Operation<Result(Arguments...)> Family::*slot)
        : call([slot](Platform &platform) {
              return number((platform.*slot)(anything<Arguments>()...));
          }),
          name([slot](Platform &platform) { return QString((platform.*slot).name()); })
    {
    }

    std::function<quint64(Platform &)> call;
    std::function<QString(Platform &)> name;
};

/// Every operation that can fail.
const struct {
    Slot slot;
    Failure failure;
} operations[] = {
    {Slot(&Platform::CreateEventW), Failure::Zero},
    {Slot(&Platform::SetEvent), Failure::Zero},
    {Slot(&Platform::WaitForSingleObject), Failure::WaitFailed},
    {Slot(&Platform::CloseHandle), Failure::Zero},
    {Slot(&Platform::HeapAlloc), Failure::Zero},
    {Slot(&Platform::HeapFree), Failure::Zero},
    {Slot(&Platform::LocalAlloc), Failure::Zero},
    {Slot(&Platform::LocalFree), Failure::Block},
    {Slot(&Platform::GetModuleHandleW), Failure::Zero},
    {Slot(&Platform::LoadLibraryW), Failure::Zero},
    {Slot(&Platform::GetProcAddress), Failure::Zero},
    {Slot(&Platform::FreeLibrary), Failure::Zero},
    {Slot(&Platform::CreateProcessW), Failure::Zero},
    {Slot(&Platform::RasEnumConnectionsW), Failure::Code},
    {Slot(&Platform::RasHangUpW), Failure::Code},
    {Slot(&Platform::RasDialDlgW), Failure::Zero},
    {Slot(&Platform::RasEnumDevicesW), Failure::Code},
    {Slot(&Platform::RasGetEntryPropertiesW), Failure::Code},
    {Slot(&Platform::RasSetEntryPropertiesW), Failure::Code},
    {Slot(&Platform::RegSetValueExW), Failure::Code},
    {Slot(&Platform::RegCloseKey), Failure::Code},
    {Slot(&Platform::ConvertStringSecurityDescriptorToSecurityDescriptorW), Failure::Zero},
    {Slot(&Platform::CreateFileW), Failure::InvalidHandle},
    {Slot(&Platform::GetCommState), Failure::Zero},
    {Slot(&Platform::SetCommState), Failure::Zero},
    {Slot(&Platform::SetCommTimeouts), Failure::Zero},
    {Slot(&Platform::SetCommMask), Failure::Zero},
    {Slot(&Platform::WaitCommEvent), Failure::Zero},
    {Slot(&Platform::ReadFile), Failure::Zero},
    {Slot(&Platform::WriteFile), Failure::Zero},
    {Slot(&Platform::GetOverlappedResult), Failure::Zero},
    {Slot(&Platform::SetupCopyOEMInfW), Failure::Zero},
    {Slot(&Platform::SetupDiGetINFClassW), Failure::Zero},
    {Slot(&Platform::SetupDiGetClassDevsW), Failure::InvalidHandle},
    {Slot(&Platform::SetupDiCreateDeviceInfoList), Failure::InvalidHandle},
    {Slot(&Platform::SetupDiDestroyDeviceInfoList), Failure::Zero},
    {Slot(&Platform::SetupDiEnumDeviceInfo), Failure::Zero},
    {Slot(&Platform::SetupDiGetDeviceRegistryPropertyW), Failure::Zero},
    {Slot(&Platform::SetupDiSetDeviceRegistryPropertyW), Failure::Zero},
    {Slot(&Platform::SetupDiCreateDeviceInfoW), Failure::Zero},
    {Slot(&Platform::SetupDiGetDeviceInstanceIdW), Failure::Zero},
    {Slot(&Platform::SetupDiRegisterDeviceInfo), Failure::Zero},
    {Slot(&Platform::SetupDiCallClassInstaller), Failure::Zero},
    {Slot(&Platform::SetupDiOpenDevRegKey), Failure::InvalidHandle},
    {Slot(&Platform::SetupDiCreateDevRegKeyW), Failure::InvalidHandle},
    {Slot(&Platform::SetupDiGetSelectedDriverW), Failure::Zero},
    {Slot(&Platform::GetVersionExW), Failure::Zero},
    {Slot(&Platform::AllowSetForegroundWindow), Failure::Zero},
    {Slot(&Platform::CM_Locate_DevNode_ExA), Failure::Code},
    {Slot(&Platform::CM_Reenumerate_DevNode_Ex), Failure::Code},
    {Slot(&Platform::UpdateDriverForPlugAndPlayDevicesW), Failure::Zero},
};

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
    Platform platform;
    int index = 0;
    for (const auto &operation : operations)
        QTest::newRow(qPrintable(operation.slot.name(platform))) << index++;
}

void FaultInjectionTest::operationFails()
{
    QFETCH(const int, index);
    const auto &operation = operations[index];
    ScriptedMachine machine;
    FaultInjectingPlatform injector(machine);
    const QString name = operation.slot.name(injector);
    const DWORD code = 0x1234;
    injector.inject({name, 1, code, false});
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
    QCOMPARE(operation.slot.call(injector), expected);
    // Functions whose result is the code leave the last error alone.
    QCOMPARE(injector.GetLastError(), operation.failure == Failure::Code ? DWORD{99} : code);
    QCOMPARE(injector.operations(), QStringList({name}));
    QVERIFY(injector.calls().first().startsWith(name + '('));
    QCOMPARE(injector.firedFaults(), 1);
    // The backend saw nothing of it.
    QCOMPARE(machine.misuses(), 0);
}

void FaultInjectionTest::namesOfTheOperations()
{
    Platform platform;
    QStringList names;
    for (const auto &operation : operations)
        names.append(operation.slot.name(platform));
    names.sort();
    QCOMPARE(FaultInjectingPlatform::failingOperations(), names);
}

void FaultInjectionTest::operationsThatCannotFail()
{
    ScriptedMachine machine;
    machine.serverR2 = 7;
    machine.emulatedArchitecture = 6;
    machine.administrator = true;
    FaultInjectingPlatform injector(machine);
    for (const char *name :
         {"GetProcessHeap", "GetSystemMetrics", "GetSystemInfo", "IsUserAnAdmin", "GetLastError"})
        injector.inject({name, 1, 5, true});
    injector.SetLastError(77);
    QCOMPARE(injector.GetLastError(), DWORD{77});
    QCOMPARE(injector.GetProcessHeap(), machine.GetProcessHeap());
    QCOMPARE(injector.GetSystemMetrics(89), 7);
    SystemInfo information{};
    injector.GetSystemInfo(&information);
    QCOMPARE(information.wProcessorArchitecture, WORD{6});
    QCOMPARE(injector.IsUserAnAdmin(), 1);
    QCOMPARE(injector.calls(), QStringList({"GetProcessHeap()", "GetSystemMetrics(89)",
                                            "GetSystemInfo(&)", "IsUserAnAdmin()"}));
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
    setCurrent(&injector);
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
    setCurrent(&injector);
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
        setCurrent(&first);
        first.inject({"CM_Reenumerate_DevNode_Ex", 1, 14, true});
        first.GetProcAddress(first.LoadLibraryW(wide(manager)), "CM_Reenumerate_DevNode_Ex");
    }
    FaultInjectingPlatform second(machine);
    setCurrent(&second);
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
