#include "platform/simulated/machinesession.h"
#include "tests/platform/simulated_fixture.h"

#include <QTest>

using namespace platform;
using namespace platform::simulated;

class SimulatedBackendTest : public QObject
{
    Q_OBJECT

private slots:
    /// There is one backend in a process, so one test tells all of it.
    void worksOnTheChosenMachineWithItsFaults()
    {
        TestMachine machine;
        machine.change([](simulated::MachineState &state) {
            state.windows.major = 5;
            state.faults = {{"RasHangUpW", 2, 5, false},
                            {"GetModuleHandleW", 1, 4294967295.0, true}};
        });
        qputenv("SIMULATED_PC", machine.directory().toLocal8Bit());
        Platform &pc = backend({});
        QCOMPARE(&backend({}), &pc);
        OsVersionInfoEx version = {};
        version.dwOSVersionInfoSize = sizeof version;
        QVERIFY(pc.GetVersionExW(&version));
        QCOMPARE(version.dwMajorVersion, DWORD(5));
        QCOMPARE(pc.RasHangUpW(nullptr), DWORD(6));
        QCOMPARE(pc.RasHangUpW(nullptr), DWORD(5));
        QCOMPARE(pc.RasHangUpW(nullptr), DWORD(6));
        const QString kernel = "kernel32.dll";
        for (int i = 0; i < 2; ++i) {
            QVERIFY(!pc.GetModuleHandleW(wide(kernel)));
            QCOMPARE(pc.GetLastError(), DWORD(0xFFFFFFFF));
        }
    }
};

QTEST_GUILESS_MAIN(SimulatedBackendTest)
#include "simulated_backend_test.moc"
