#include "install/windowsrelease.h"

#include "tests/support/bench.h"

#include <QTest>

using namespace platform;

class WindowsReleaseTest : public QObject
{
    Q_OBJECT

private slots:
    void versionCode_data();
    void versionCode();
    void versionCodeCalls();
    void versionCodeWithoutNativeSystemInfo();
    void versionCodeFailures_data();
    void versionCodeFailures();
};

void WindowsReleaseTest::versionCode_data()
{
    QTest::addColumn<DWORD>("platformId");
    QTest::addColumn<DWORD>("major");
    QTest::addColumn<DWORD>("minor");
    QTest::addColumn<int>("productType");
    QTest::addColumn<int>("suite");
    QTest::addColumn<int>("serverR2");
    QTest::addColumn<int>("x86");
    QTest::addColumn<int>("x64");
    QTest::addColumn<int>("itanium");

    const auto row = [](const char *name, DWORD major, DWORD minor, int productType, int suite,
                        int serverR2, int base, int baseOnX64 = -1, DWORD platformId = 2) {
        const auto code = [](int b, int offset) { return b == 0 ? 0 : b + offset; };
        QTest::newRow(name) << platformId << major << minor << productType << suite << serverR2
                            << base << code(baseOnX64 < 0 ? base : baseOnX64, 20) << code(base, 40);
    };
    const int workstation = 1;
    const int controller = 2;
    const int server = 3;
    const int storage = 0x2000;

    row("2000 workstation", 5, 0, workstation, 0, 0, 1);
    row("2000 server", 5, 0, server, 0, 0, 1);
    row("XP", 5, 1, workstation, 0, 0, 2);
    row("5.1 server", 5, 1, server, 0, 0, 2);
    row("XP x64", 5, 2, workstation, 0, 0, 3, 2);
    row("Server 2003", 5, 2, server, 0, 0, 3);
    row("Server 2003, controller", 5, 2, controller, 0, 0, 3);
    row("Server 2003, no product type", 5, 2, 0, 0, 0, 3);
    row("Storage Server 2003", 5, 2, server, storage, 0, 4);
    row("Storage Server 2003 among other suites", 5, 2, server, 0xFFFF, 0, 4);
    row("all suites but storage", 5, 2, server, 0xDFFF, 0, 3);
    row("Server 2003 R2", 5, 2, server, 0, 1, 6);
    row("Storage Server 2003 R2", 5, 2, server, storage, 1, 6);
    row("Server 2003 R2, other metric value", 5, 2, server, 0, -7, 6);
    row("R2 metric on XP x64", 5, 2, workstation, 0, 1, 6);
    // Both the suite and the product type name it; the suite is asked first.
    row("storage suite on XP x64", 5, 2, workstation, storage, 0, 4);
    row("Vista", 6, 0, workstation, 0, 0, 7);
    row("Server 2008", 6, 0, server, 0, 0, 8);
    row("Server 2008, controller", 6, 0, controller, 0, 0, 8);
    row("Server 2008 R2", 6, 1, server, 0, 0, 9);
    row("Server 2008 R2, controller", 6, 1, controller, 0, 0, 9);
    row("Windows 7", 6, 1, workstation, 0, 0, 10);
    row("suite and metric count on 5.2 only: 5.1", 5, 1, workstation, storage, 1, 2);
    row("suite and metric count on 5.2 only: 6.1", 6, 1, workstation, storage, 1, 10);

    row("nothing known", 0, 0, 0, 0, 0, 0, -1, 0);
    row("NT 4", 4, 0, workstation, 0, 0, 0);
    row("4.1", 4, 1, workstation, 0, 0, 0);
    row("4.2", 4, 2, workstation, 0, 1, 0);
    row("3.51", 3, 51, workstation, 0, 0, 0);
    row("5.3", 5, 3, workstation, 0, 0, 0);
    row("Windows 8", 6, 2, workstation, 0, 0, 0);
    row("Server 2012", 6, 2, server, 0, 0, 0);
    row("Windows 8.1", 6, 3, workstation, 0, 0, 0);
    row("7.0", 7, 0, workstation, 0, 0, 0);
    row("7.1", 7, 1, workstation, 0, 0, 0);
    row("Windows 10", 10, 0, workstation, 0, 0, 0);
    row("Server 2016", 10, 0, server, 0, 0, 0);
    // Not of the NT family.
    row("Windows 98", 4, 10, 0, 0, 0, 0, -1, 1);
    row("6.1 of platform 1", 6, 1, workstation, 0, 0, 0, -1, 1);
    row("5.2 of platform 1", 5, 2, server, storage, 1, 0, -1, 1);
    row("6.1 of platform 0", 6, 1, workstation, 0, 0, 0, -1, 0);
    row("6.1 of platform 3", 6, 1, workstation, 0, 0, 0, -1, 3);
}

void WindowsReleaseTest::versionCode()
{
    QFETCH(const DWORD, platformId);
    QFETCH(const DWORD, major);
    QFETCH(const DWORD, minor);
    QFETCH(const int, productType);
    QFETCH(const int, suite);
    QFETCH(const int, serverR2);
    QFETCH(const int, x86);
    QFETCH(const int, x64);
    QFETCH(const int, itanium);
    Bench<> bench;
    bench.machine.version.dwPlatformId = platformId;
    bench.machine.version.dwMajorVersion = major;
    bench.machine.version.dwMinorVersion = minor;
    bench.machine.version.wProductType = static_cast<BYTE>(productType);
    bench.machine.version.wSuiteMask = static_cast<WORD>(suite);
    bench.machine.serverR2 = serverR2;

    bench.machine.architecture = ArchitectureIntel;
    QCOMPARE(GetWindowsVersionCode(), x86);
    bench.machine.architecture = ArchitectureX64;
    QCOMPARE(GetWindowsVersionCode(), x64);
    bench.machine.architecture = ArchitectureItanium;
    QCOMPARE(GetWindowsVersionCode(), itanium);
    // Any other processor adds nothing: ARM, unknown.
    for (const int other : {5, 12, 0xFFFF}) {
        bench.machine.architecture = static_cast<WORD>(other);
        QCOMPARE(GetWindowsVersionCode(), x86);
    }
    QCOMPARE(bench.log.lines(), QStringList());
}

void WindowsReleaseTest::versionCodeCalls()
{
    Bench<> bench;
    bench.machine.version.dwMajorVersion = 5;
    bench.machine.version.dwMinorVersion = 2;
    GetWindowsVersionCode();
    QCOMPARE(bench.calls(),
             QStringList({"GetVersionExW(&)", "GetModuleHandleW(\"kernel32.dll\")",
                          "GetProcAddress(0x10, \"GetNativeSystemInfo\")", "GetNativeSystemInfo(&)",
                          "GetSystemMetrics(89)"})); // SM_SERVERR2
    QCOMPARE(bench.leftOpen(), QString());
}

void WindowsReleaseTest::versionCodeWithoutNativeSystemInfo()
{
    Bench<> bench;
    bench.machine.hasNativeSystemInfo = false;
    bench.machine.emulatedArchitecture = ArchitectureItanium;
    QCOMPARE(GetWindowsVersionCode(), 50);
    QCOMPARE(bench.injector.operations().last(), QString("GetSystemInfo"));
    bench.machine.hasNativeSystemInfo = true;
    bench.machine.architecture = ArchitectureX64;
    QCOMPARE(GetWindowsVersionCode(), 30);
    QCOMPARE(bench.injector.operations().count("GetSystemInfo"), 1);
}

void WindowsReleaseTest::versionCodeFailures_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("code");
    // The machine is a 64-bit one on which processes seem to run on 32 bits.
    QTest::newRow("GetVersionExW") << "GetVersionExW" << 0;
    QTest::newRow("GetModuleHandleW") << "GetModuleHandleW" << 10;
    QTest::newRow("GetProcAddress") << "GetProcAddress" << 10;
}

void WindowsReleaseTest::versionCodeFailures()
{
    QFETCH(const QString, operation);
    QFETCH(const int, code);
    Bench<> bench;
    bench.fail(operation, ErrorProcedureNotFound);
    QCOMPARE(GetWindowsVersionCode(), code);
    QCOMPARE(bench.injector.firedFaults(), 1);
}

QTEST_GUILESS_MAIN(WindowsReleaseTest)
#include "windowsrelease_test.moc"
