#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/simulated/simulatedpc.h"
#include "tests/support/scriptedmachine.h"

#include <QTemporaryDir>
#include <QTest>

using namespace platform;

/// Every backend has every operation, so that no user ever meets an empty
/// slot. The backends of real systems are asked in tests/linux and
/// tests/windows.
class BackendsTest : public QObject
{
    Q_OBJECT

private slots:
    void theSimulatedPcProvidesEveryOperation();
    void theScriptedMachineProvidesEveryOperation();
    void theFaultInjectorDecoratesEveryOperation();

private:
    static QStringList missingOperations(const Platform &platform)
    {
        QStringList missing;
        for (const AnyOperation *operation : platform.allOperations()) {
            if (!operation->isProvided())
                missing += operation->name();
        }
        return missing;
    }
};

void BackendsTest::theSimulatedPcProvidesEveryOperation()
{
    const QTemporaryDir folder;
    const simulated::SimulatedPc pc(folder.path());
    QCOMPARE(missingOperations(pc), QStringList());
}

void BackendsTest::theScriptedMachineProvidesEveryOperation()
{
    const ScriptedMachine machine;
    QCOMPARE(missingOperations(machine), QStringList());
}

void BackendsTest::theFaultInjectorDecoratesEveryOperation()
{
    ScriptedMachine machine;
    const FaultInjectingPlatform decorator(machine);
    QCOMPARE(missingOperations(decorator), QStringList());
}

QTEST_GUILESS_MAIN(BackendsTest)
#include "backends_test.moc"
