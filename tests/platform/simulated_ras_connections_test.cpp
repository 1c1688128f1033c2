#include "tests/platform/simulated_ras_fixture.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <cstring>

using namespace platform;
using namespace platform::simulated;

/// Listing connections and hanging them up.
class SimulatedRasConnectionsTest : public QObject
{
    Q_OBJECT

private slots:
    void listsConnections();
    void fillsOnlyTheDeclaredRecord();
    void checksTheSizesOfTheConnectionList();
    void dropsConnectionsOfPhonesThatAreGone();
    void hangsUp();
    void hangsUpASilentPhone();
    void hangsUpInTimeWhateverTheGuard();
    void refusesToHangUp();
};

void SimulatedRasConnectionsTest::listsConnections()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ConnectionList none(pc);
    QCOMPARE(none.result, DWORD(Success));
    QCOMPARE(none.count, DWORD(0));
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId(), "first");
    machine.addConnection(phone.plugId(), "second");
    const ConnectionList two(pc);
    QCOMPARE(two.result, DWORD(Success));
    QCOMPARE(two.names(), QStringList({"first", "second"}));
    QCOMPARE(two.size, DWORD(2 * 1360));
    QCOMPARE(two.records[1].dwSize, DWORD(RasConnectionSize));
    QVERIFY(two.records[0].hrasconn != two.records[1].hrasconn);
    QCOMPARE(fromField(two.records[0].szDeviceType), QString("modem"));
    QCOMPARE(fromField(two.records[0].szDeviceName), QString("MTK GPRS Modem"));
    SimulatedPc another(machine.directory()); // connections belong to the system
    QCOMPARE(ConnectionList(another).count, DWORD(2));
}

void SimulatedRasConnectionsTest::fillsOnlyTheDeclaredRecord()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    RasConnection record;
    std::memset(static_cast<void *>(&record), 0xEE, sizeof record);
    record.dwSize = RasConnectionSize;
    DWORD size = sizeof record;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(Success));
    QCOMPARE(record.dwSubEntry, DWORD(0xEEEEEEEE));
    record.dwSize = sizeof record;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(Success));
    QCOMPARE(record.dwSubEntry, DWORD(0));
}

void SimulatedRasConnectionsTest::checksTheSizesOfTheConnectionList()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    RasConnection record = {};
    DWORD size = sizeof record;
    DWORD count = 0;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(RasErrorInvalidSize));
    record.dwSize = RasConnectionSize;
    size = 1359;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, DWORD(1360));
    QCOMPARE(count, DWORD(1));
    QCOMPARE(pc.RasEnumConnectionsW(nullptr, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(pc.RasEnumConnectionsW(&record, nullptr, &count), DWORD(ErrorInvalidParameter));
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, nullptr), DWORD(ErrorInvalidParameter));

    // Without connections nothing is needed but the declared record.
    phone.unplug();
    size = RasConnectionSize - 1;
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(RasErrorBufferTooSmall));
    QCOMPARE(size, RasConnectionSize);
    QCOMPARE(count, DWORD(0));
    QCOMPARE(pc.RasEnumConnectionsW(&record, &size, &count), DWORD(Success));
    QCOMPARE(size, DWORD(0));
    QCOMPARE(pc.RasEnumConnectionsW(nullptr, &size, &count), DWORD(Success));
}

void SimulatedRasConnectionsTest::dropsConnectionsOfPhonesThatAreGone()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    QCOMPARE(ConnectionList(pc).count, DWORD(1));
    phone.publish(false); // the network ended it
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    phone.publish(true); // for ever
    QCOMPARE(ConnectionList(pc).count, DWORD(0));

    machine.addConnection(phone.plugId());
    phone.plugIn(); // unplugged and in again
    phone.publish(true);
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    machine.addConnection(phone.plugId());
    phone.unplug();
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    QVERIFY(machine.state().connections.isEmpty());
}

void SimulatedRasConnectionsTest::hangsUp()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    const ScriptedPhone phone(machine.directory());
    QVERIFY(dial(pc).connected);
    const RasConnectionHandle handle = ConnectionList(pc).records[0].hrasconn;
    QCOMPARE(pc.RasHangUpW(handle), DWORD(Success));
    QCOMPARE(phone.commands().mid(2), QStringList({"+++", "ATH"}));
    QCOMPARE(ConnectionList(pc).count, DWORD(0));
    QCOMPARE(pc.RasHangUpW(handle), DWORD(RasErrorInvalidHandle));
    QVERIFY(dial(pc).connected);
    QVERIFY(ConnectionList(pc).records[0].hrasconn != handle);
}

void SimulatedRasConnectionsTest::hangsUpASilentPhone()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    phone.setAnswer("+++", "");
    machine.addConnection(phone.plugId());
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(pc.RasHangUpW(ConnectionList(pc).records[0].hrasconn), DWORD(Success));
    QVERIFY(timer.elapsed() < 2500);
    QVERIFY(machine.state().connections.isEmpty());
}

void SimulatedRasConnectionsTest::hangsUpInTimeWhateverTheGuard()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    constexpr int longGuard = 30000;
    machine.change([](simulated::MachineState &state) {
        state.hangUpGuardMs = longGuard;
        state.connections.last().since =
            static_cast<double>(QDateTime::currentMSecsSinceEpoch()); // no silence yet
    });
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(pc.RasHangUpW(ConnectionList(pc).records[0].hrasconn), DWORD(Success));
    QVERIFY(timer.elapsed() < longGuard / 2);
    QVERIFY(machine.state().connections.isEmpty());
}

void SimulatedRasConnectionsTest::refusesToHangUp()
{
    ReadyMachine machine;
    SimulatedPc pc(machine.directory());
    QCOMPARE(pc.RasHangUpW(nullptr), DWORD(RasErrorInvalidHandle));
    QCOMPARE(pc.RasHangUpW(&machine), DWORD(RasErrorInvalidHandle));
    QCOMPARE(pc.RasHangUpW(reinterpret_cast<RasConnectionHandle>(ULONG_PTR(1))),
             DWORD(RasErrorInvalidHandle));
    ScriptedPhone phone(machine.directory());
    phone.publish(true);
    machine.addConnection(phone.plugId());
    const RasConnectionHandle handle = ConnectionList(pc).records[0].hrasconn;
    phone.unplug();
    QCOMPARE(pc.RasHangUpW(handle), DWORD(RasErrorInvalidHandle));
}

QTEST_MAIN(SimulatedRasConnectionsTest)
#include "simulated_ras_connections_test.moc"
