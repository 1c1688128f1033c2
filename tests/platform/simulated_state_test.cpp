#include "tests/linux/fulldisk.h"
#include "tests/platform/simulated_fixture.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace platform::simulated;

namespace {

MachineState fullState()
{
    MachineState state;
    state.administrator = false;
    state.windows.major = 5;
    state.windows.minor = 2;
    state.windows.productType = 3;
    state.windows.suiteMask = 0x2000;
    state.windows.serverR2 = 1;
    state.windows.processor = Processor::Itanium;
    state.windows.nativeSystemInfo = false;
    state.installerDurationMs = 1;
    state.rescanDurationMs = 2;
    state.answerTimeoutMs = 3;
    state.hangUpGuardMs = 4;
    state.portDriverInstalled = true;
    state.unmatchedPlugIds = QStringList{"a", "b"};
    state.portOfSocket = {{1, 12}, {2, 5}};
    state.nextDevInst = 9;
    platform::RootDevice device;
    device.devInst = 8;
    device.instanceId = "ROOT\\MODEM\\0000";
    device.className = "Modem";
    device.classGuid = "{4D36E96D-E325-11CE-BFC1-08002BE10318}";
    device.hardwareIds = QStringList{"mtkgprsmodem"};
    device.friendlyName = "MTK GPRS Modem";
    device.driverInf = "oem0.inf";
    device.hasDriverKey = true;
    device.driverKey["AttachedTo"] = "COM12";
    state.devices = {device, platform::RootDevice()};
    state.phonebookDamaged = true;
    state.phonebookProtected = true;
    state.phonebook["TolvaneModem 1"] = QJsonObject{{"szLocalPhoneNumber", "*99#"}};
    state.nextConnection = 7;
    Connection connection;
    connection.handle = 6;
    connection.entry = "TolvaneModem 1";
    connection.device = "MTK GPRS Modem";
    connection.plugId = "a";
    connection.port = 12;
    connection.since = 1.7e12;
    state.connections = {connection};
    state.faults = {{"RasHangUpW", 2, 4294967295.0, true}};
    return state;
}

QStringList damagedFiles(const TestMachine &machine)
{
    return QDir(machine.directory()).entryList({"pc.json.damaged-*"}, QDir::Files);
}

} // namespace

class SimulatedStateTest : public QObject
{
    Q_OBJECT

private slots:
    void keepsEverything()
    {
        const QByteArray json = fullState().toJson();
        MachineState read;
        QString error;
        QVERIFY2(read.fromJson(json, &error), qPrintable(error));
        QCOMPARE(read.toJson(), json);
        QVERIFY(json != MachineState().toJson());
    }

    void startsWithDefaults()
    {
        QTemporaryDir directory;
        const MachineSession session(directory.filePath("new/machine"));
        QCOMPARE(session.state.toJson(), MachineState().toJson());
        QVERIFY(!QFile::exists(directory.filePath("new/machine/pc.json")));
    }

    void findsItsDirectory()
    {
        qputenv("SIMULATED_PC", "/some/where");
        QCOMPARE(defaultStateDirectory(), QString("/some/where"));
        qunsetenv("SIMULATED_PC");
        qputenv("XDG_STATE_HOME", "/states");
        QCOMPARE(defaultStateDirectory(), QString("/states/tolvane-simulated-pc"));
        qunsetenv("XDG_STATE_HOME");
        QCOMPARE(defaultStateDirectory(), QDir::homePath() + "/.local/state/tolvane-simulated-pc");
    }

    void forgetsWhatIsNotSaved()
    {
        TestMachine machine;
        {
            MachineSession session(machine.directory());
            session.state.administrator = false;
        }
        QVERIFY(machine.state().administrator);
    }

    void keepsADamagedFileAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("cut off") << QByteArray("{\"administrator\": tr");
        QTest::newRow("a list") << QByteArray("[]");
        QTest::newRow("binary") << QByteArray("\x00\xFF\x01", 3);
        QTest::newRow("wrong type") << QByteArray("{\"administrator\": \"yes\"}");
        QTest::newRow("wrong nested type") << QByteArray("{\"devices\": [1]}");
        QTest::newRow("wrong text") << QByteArray("{\"devices\": [{\"hardwareIds\": [1]}]}");
        QTest::newRow("wrong key") << QByteArray("{\"devices\": [{\"driverKey\": {\"a\": 1}}]}");
        QTest::newRow("out of range") << QByteArray("{\"installerDurationMs\": -1}");
        QTest::newRow("bad port") << QByteArray("{\"portOfSocket\": {\"1\": 70000}}");
        QTest::newRow("bad processor") << QByteArray("{\"windows\": {\"processor\": \"vax\"}}");
        QTest::newRow("bad entry") << QByteArray("{\"phonebook\": {\"a\": 5}}");
        QTest::newRow("connection without a port")
            << QByteArray("{\"connections\": [{\"handle\": 1}]}");
        QTest::newRow("connection without a handle")
            << QByteArray("{\"connections\": [{\"port\": 5}]}");
        QTest::newRow("newer format") << QByteArray("{\"version\": 2}");
    }

    void keepsADamagedFileAside()
    {
        QFETCH(QByteArray, content);
        TestMachine machine;
        machine.write("pc.json", content);
        QVERIFY(machine.state().administrator);
        QCOMPARE(damagedFiles(machine), QStringList{"pc.json.damaged-1"});
        QFile kept(machine.path("pc.json.damaged-1"));
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), content);
        // The machine works again, and a second accident loses nothing either.
        machine.setAdministrator(false);
        machine.write("pc.json", "more damage");
        QVERIFY(machine.state().administrator);
        QCOMPARE(damagedFiles(machine).size(), 2);
    }

    void refusesToWriteWhereItCannot()
    {
        QTemporaryDir directory;
        QFile file(directory.filePath("file"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        MachineSession session(file.fileName());
        QVERIFY(!session.save());
    }

    void refusesWhatIsNoFile_data()
    {
        QTest::addColumn<QString>("folder");
        QTest::newRow("the state") << "pc.json";
        QTest::newRow("the lock") << "pc.lock";
    }

    void refusesWhatIsNoFile()
    {
        QFETCH(QString, folder);
        QTemporaryDir directory;
        QVERIFY(QDir(directory.path()).mkdir(folder));
        MachineSession session(directory.path());
        QVERIFY(!session.save());
        QVERIFY(QDir(directory.filePath(folder)).exists());
    }

    void keepsTheOldStateOnAFullDisk()
    {
        TestMachine machine;
        {
            MachineSession session(machine.directory());
            session.state.administrator = false;
            const FullDisk fullDisk;
            QVERIFY(!session.save());
        }
        QVERIFY(machine.state().administrator);
    }

    void countsCorrectlyFromManyThreads()
    {
        TestMachine machine;
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&machine] {
                for (int n = 0; n < 10; ++n)
                    machine.change([](MachineState &state) { ++state.nextConnection; });
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(machine.state().nextConnection, 41);
    }

    void isLockedAgainstOtherProcesses()
    {
        TestMachine machine;
        QProcess other;
        {
            MachineSession session(machine.directory());
            other.start("flock", {"--nonblock", machine.path("pc.lock"), "true"});
            QVERIFY(other.waitForFinished());
            QCOMPARE(other.exitCode(), 1);
        }
        other.start("flock", {"--nonblock", machine.path("pc.lock"), "true"});
        QVERIFY(other.waitForFinished());
        QCOMPARE(other.exitCode(), 0);
    }
};

QTEST_GUILESS_MAIN(SimulatedStateTest)
#include "simulated_state_test.moc"
