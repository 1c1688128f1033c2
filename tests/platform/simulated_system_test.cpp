#include "platform/configmanager.h"
#include "platform/standin/lasterror.h"
#include "tests/platform/simulated_fixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <csignal>
#include <sys/stat.h>

using namespace platform;
using namespace platform::simulated;

namespace {

HMODULE load(SimulatedPc &pc, const QString &name)
{
    return pc.LoadLibraryW(wide(name));
}

HMODULE loaded(SimulatedPc &pc, const QString &name)
{
    return pc.GetModuleHandleW(wide(name));
}

/// Starts a program as the program starts its installer.
BOOL start(SimulatedPc &pc, const QString &program, const QString &commandLine,
           ProcessInformation *information)
{
    StartupInfo startup = {};
    startup.cb = sizeof startup;
    QString line = commandLine;
    return pc.CreateProcessW(wide(program), reinterpret_cast<WCHAR *>(line.data()), nullptr,
                             nullptr, 0, 0, nullptr, nullptr, &startup, information);
}

} // namespace

class SimulatedSystemTest : public QObject
{
    Q_OBJECT

private slots:
    void saysWhichReleaseItIs()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        OsVersionInfoEx version = {};
        version.dwOSVersionInfoSize = sizeof version;
        QVERIFY(pc.GetVersionExW(&version));
        QCOMPARE(version.dwMajorVersion, DWORD(6));
        QCOMPARE(version.dwMinorVersion, DWORD(1));
        QCOMPARE(version.dwBuildNumber, DWORD(7601));
        QCOMPARE(version.dwPlatformId, DWORD(PlatformWin32Nt));
        QCOMPARE(version.wProductType, BYTE(ProductWorkstation));
        QCOMPARE(version.wServicePackMajor, WORD(1));
        QCOMPARE(fromField(version.szCSDVersion), QString("Service Pack 1"));
        QCOMPARE(pc.GetSystemMetrics(MetricServerR2), 0);
        QCOMPARE(pc.GetSystemMetrics(0), 0); // not modelled

        machine.change([](simulated::MachineState &state) {
            state.windows.major = 5;
            state.windows.minor = 2;
            state.windows.productType = 3;
            state.windows.suiteMask = SuiteStorageServer;
            state.windows.serverR2 = 1;
            state.windows.servicePack = 0;
        });
        QVERIFY(pc.GetVersionExW(&version));
        QCOMPARE(version.dwMajorVersion, DWORD(5));
        QCOMPARE(version.wProductType, BYTE(3));
        QCOMPARE(version.wSuiteMask, WORD(SuiteStorageServer));
        QCOMPARE(fromField(version.szCSDVersion), QString());
        QCOMPARE(pc.GetSystemMetrics(MetricServerR2), 1);
    }

    void saysWhoIsAnAdministrator()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        QCOMPARE(pc.IsUserAnAdmin(), 1);
        machine.change([](simulated::MachineState &state) { state.administrator = false; });
        QCOMPARE(pc.IsUserAnAdmin(), 0);
    }

    void fillsTheRecordThatItIsGiven()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        OsVersionInfoEx version = {};
        version.dwOSVersionInfoSize = 276; // the record without the extension
        version.wProductType = 77;
        QVERIFY(pc.GetVersionExW(&version));
        QCOMPARE(version.dwMajorVersion, DWORD(6));
        QCOMPARE(version.wProductType, BYTE(77));
        version = {};
        version.dwOSVersionInfoSize = 283;
        QVERIFY(!pc.GetVersionExW(&version));
        QCOMPARE(lastError(), DWORD(ErrorInsufficientBuffer));
        QCOMPARE(version.dwMajorVersion, DWORD(0));
    }

    void saysWhichProcessorItHas_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<WORD>("architecture");
        QTest::newRow("x86") << "x86" << WORD(ArchitectureIntel);
        QTest::newRow("x64") << "x64" << WORD(ArchitectureX64);
        QTest::newRow("ia64") << "ia64" << WORD(ArchitectureItanium);
    }

    void saysWhichProcessorItHas()
    {
        QFETCH(QString, name);
        QFETCH(WORD, architecture);
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        setCurrent(&pc); // whose slots functions bound at run time call
        machine.change([&](simulated::MachineState &state) {
            QVERIFY(simulated::processorFromName(name, &state.windows.processor));
        });
        SystemInfo info = {};
        pc.GetSystemInfo(&info);
        QCOMPARE(info.wProcessorArchitecture, architecture);
        const HMODULE kernel = loaded(pc, "kernel32.dll");
        const auto native = reinterpret_cast<GetNativeSystemInfoFunction>(
            pc.GetProcAddress(kernel, "GetNativeSystemInfo"));
        QVERIFY(native);
        info = {};
        native(&info);
        QCOMPARE(info.wProcessorArchitecture, architecture);

        machine.change(
            [](simulated::MachineState &state) { state.windows.nativeSystemInfo = false; });
        QVERIFY(!pc.GetProcAddress(kernel, "GetNativeSystemInfo"));
        QCOMPARE(lastError(), DWORD(ErrorProcedureNotFound));
    }

    void loadsLibraries()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        QVERIFY(loaded(pc, "KERNEL32"));
        QVERIFY(!loaded(pc, "newdev.dll"));
        QCOMPARE(lastError(), DWORD(ErrorModuleNotFound));
        const HMODULE library = load(pc, "newdev.dll");
        QVERIFY(library);
        QCOMPARE(load(pc, "NewDev"), library);
        QCOMPARE(loaded(pc, "newdev.dll"), library);
        QVERIFY(pc.GetProcAddress(library, "UpdateDriverForPlugAndPlayDevicesW"));
        QVERIFY(!pc.GetProcAddress(library, "CM_Locate_DevNode_ExA"));
        QCOMPARE(lastError(), DWORD(ErrorProcedureNotFound));
        QVERIFY(pc.FreeLibrary(library));
        QCOMPARE(lastError(), DWORD(Success)); // unloading clears it
        QVERIFY(pc.FreeLibrary(library));
        QVERIFY(!loaded(pc, "newdev.dll"));
        QVERIFY(!pc.FreeLibrary(library));
        QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
        QVERIFY(!pc.GetProcAddress(library, "UpdateDriverForPlugAndPlayDevicesW"));
        QVERIFY(!load(pc, "missing.dll"));
        QCOMPARE(lastError(), DWORD(ErrorModuleNotFound));
        QVERIFY(!pc.GetModuleHandleW(nullptr));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }

    void locatesDeviceNodes()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        machine.change([](simulated::MachineState &state) {
            RootDevice device;
            device.devInst = 7;
            device.instanceId = "ROOT\\MODEM\\0000";
            state.devices += device;
        });
        DEVINST node = 0;
        QCOMPARE(pc.CM_Locate_DevNode_ExA(&node, nullptr, LocateNormal, nullptr),
                 ConfigRet(ConfigSuccess));
        QCOMPARE(node, DEVINST(1));
        char known[] = "Root\\Modem\\0000";
        QCOMPARE(pc.CM_Locate_DevNode_ExA(&node, known, LocateNormal, nullptr),
                 ConfigRet(ConfigSuccess));
        QCOMPARE(node, DEVINST(7));
        char unknown[] = "ROOT\\MODEM\\0001";
        QCOMPARE(pc.CM_Locate_DevNode_ExA(&node, unknown, LocateNormal, nullptr), ConfigRet(13));
        QCOMPARE(pc.CM_Locate_DevNode_ExA(&node, nullptr, 1, nullptr), ConfigRet(32));
        QCOMPARE(pc.CM_Locate_DevNode_ExA(nullptr, nullptr, 0, nullptr), ConfigRet(3));
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(99, 0, nullptr), ConfigRet(5));
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(1, 4, nullptr), ConfigRet(32));
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(1, 0, &node), ConfigRet(32));
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(1, 0, nullptr), ConfigRet(ConfigSuccess));
    }

    // At once: nothing was looked for.
    void refusesARescanWithoutRights()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        machine.setAdministrator(false);
        constexpr int longRescan = 30000;
        machine.change([](simulated::MachineState &state) { state.rescanDurationMs = longRescan; });
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(99, 0, nullptr), ConfigRet(5));
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(1, 0, nullptr), ConfigRet(51)); // CR_ACCESS_DENIED
        QVERIFY(timer.elapsed() < longRescan);
        DEVINST node = 0;
        QCOMPARE(pc.CM_Locate_DevNode_ExA(&node, nullptr, LocateNormal, nullptr),
                 ConfigRet(ConfigSuccess));
    }

    void startsAProgram()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString program = machine.write("tool.exe", "#!/bin/sh\n"
                                                          "cd \"$(dirname \"$0\")\"\n"
                                                          "echo \"$SIMULATED_PC|$1|$2\" > out\n"
                                                          "read line < gate\n");
        QVERIFY(
            QFile::setPermissions(machine.path("tool.exe"), QFile::ReadOwner | QFile::ExeOwner));
        QCOMPARE(::mkfifo(QFile::encodeName(machine.path("gate")).constData(), 0600), 0);
        qputenv("SIMULATED_PC", "/another/machine");
        ProcessInformation information = {};
        QVERIFY(start(pc, program, "Tool -a \"two words\"", &information));
        qunsetenv("SIMULATED_PC");
        QVERIFY(information.dwProcessId != 0);
        // It runs on its own: waiting for it is the caller's choice.
        QCOMPARE(pc.WaitForSingleObject(information.hProcess, 0), DWORD(258));
        QFile gate(machine.path("gate"));
        QVERIFY(gate.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        QVERIFY(gate.write("\n") == 1);
        QCOMPARE(pc.WaitForSingleObject(information.hProcess, 10000), DWORD(WaitObject0));
        QFile out(machine.path("out"));
        QVERIFY(out.open(QIODevice::ReadOnly));
        QCOMPARE(QString::fromLocal8Bit(out.readAll()).trimmed(),
                 machine.directory() + "|-a|two words");
        // Nothing is left behind to be reaped.
        QCOMPARE(::kill(static_cast<pid_t>(information.dwProcessId), 0), -1);
        QVERIFY(pc.CloseHandle(information.hProcess));
        QVERIFY(pc.CloseHandle(information.hThread));
        QVERIFY(!pc.CloseHandle(information.hThread));
        QCOMPARE(lastError(), DWORD(ErrorInvalidHandle));
    }

    void refusesToStartAProgram()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        ProcessInformation information = {};
        information.dwProcessId = 42;
        QVERIFY(!start(pc, machine.path("missing.exe"), "Tool", &information));
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
        QVERIFY(!start(pc, machine.write("text.exe", "hello"), "Tool", &information));
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied)); // no execute permission
        QVERIFY(!start(pc, machine.directory(), "Tool", &information));
        QCOMPARE(lastError(), DWORD(ErrorAccessDenied));
        QVERIFY(
            QFile::setPermissions(machine.path("text.exe"), QFile::ReadOwner | QFile::ExeOwner));
        machine.write("pc.json", "{}");
        QVERIFY(!start(pc, machine.path("text.exe/below"), "Tool", &information));
        QCOMPARE(lastError(), DWORD(ErrorFileNotFound));
        QVERIFY(!start(pc, machine.path("text.exe"), "Tool", &information));
        QCOMPARE(lastError(), DWORD(193));
        QCOMPARE(information.dwProcessId, DWORD(42));

        StartupInfo startup = {};
        const QString program = machine.path("text.exe");
        const auto create = [&](BOOL inherit, DWORD flags) {
            return pc.CreateProcessW(wide(program), nullptr, nullptr, nullptr, inherit, flags,
                                     nullptr, nullptr, &startup, &information);
        };
        QVERIFY(!create(0, 0)); // a start-up record without its size
        QCOMPARE(lastError(), DWORD(ErrorInvalidParameter));
        startup.cb = sizeof startup;
        QVERIFY(!create(1, 0));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
        QVERIFY(!create(0, 8));
        QCOMPARE(lastError(), DWORD(ErrorNotSupported));
    }

    void answersWhenItsStateCannotBeKept()
    {
        TestMachine machine;
        const QString file = machine.path("file");
        machine.write("file", "");
        SimulatedPc pc(file); // not a directory
        DWORD size = 0;
        DWORD count = 0;
        QCOMPARE(pc.RasEnumDevicesW(nullptr, &size, &count), DWORD(RasErrorBufferTooSmall));
        // The default rescan takes a second; a failure to save is still told.
        QCOMPARE(pc.CM_Reenumerate_DevNode_Ex(1, 0, nullptr), ConfigRet(ConfigFailure));
    }

    void keepsTheLastError()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        pc.SetLastError(1234);
        QCOMPARE(pc.GetLastError(), DWORD(1234));
        const HANDLE heap = pc.GetProcessHeap();
        void *block = pc.HeapAlloc(heap, HeapZeroMemory, 10);
        QVERIFY(block);
        QVERIFY(pc.HeapFree(heap, 0, block));
        QVERIFY(!pc.LocalFree(pc.LocalAlloc(LocalZeroInit, 10)));
        QCOMPARE(pc.GetLastError(), DWORD(1234));
    }
};

QTEST_GUILESS_MAIN(SimulatedSystemTest)
#include "simulated_system_test.moc"
