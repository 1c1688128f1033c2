#include "platform/newdev.h"
#include "platform/simulated/entryrecord.h"
#include "platform/standin/lasterror.h"
#include "tests/platform/simulated_fixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace platform;
using namespace platform::simulated;

// The programs that belong to the simulated PC, each a process of its own on
// one state.
namespace {

struct Output {
    int exitCode;
    QString standard;
    QString error;
};

Output runProgram(const TestMachine &machine, const QString &program, const QStringList &arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("SIMULATED_PC", machine.directory());
    process.setProcessEnvironment(environment);
    process.start(QCoreApplication::applicationDirPath() + '/' + program, arguments);
    if (!process.waitForFinished())
        qFatal("%s does not run", qPrintable(program));
    return {process.exitCode(), QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

Output tool(const TestMachine &machine, const QString &commandLine)
{
    return runProgram(machine, "simulated-pc", commandLine.split(' '));
}

/// A file of the driver folder, as the program names it.
QString delivered(const QString &file)
{
    QString path = QCoreApplication::applicationDirPath() + "/drivers/" + file;
    return path.replace('/', '\\');
}

/// The real virtual phone on the machine's bus.
class PhoneProcess
{
public:
    explicit PhoneProcess(const TestMachine &machine, const QStringList &options = {})
        : m_bus(machine.path("usb"))
    {
        m_process.setProcessChannelMode(QProcess::ForwardedChannels);
        m_process.start(QCoreApplication::applicationDirPath() + "/virtual-phone",
                        QStringList{"--bus", m_bus, "--guard-time", "20"} + options);
    }
    ~PhoneProcess()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }

    bool waitUntilPlugged()
    {
        return QTest::qWaitFor([this] { return QFile::exists(m_bus + "/socket1.json"); });
    }
    bool send(const QString &command)
    {
        return QProcess::execute(QCoreApplication::applicationDirPath() + "/virtual-phone",
                                 {"--bus", m_bus, "--send", command}) == 0;
    }

    /// Whether the phone's status gets to say that.
    bool waitForStatus(const QString &words)
    {
        return QTest::qWaitFor([&] {
            QProcess status;
            status.start(QCoreApplication::applicationDirPath() + "/virtual-phone",
                         {"--bus", m_bus, "--send", "status"});
            return status.waitForFinished() && status.readAll().contains(words.toUtf8());
        });
    }

private:
    const QString m_bus;
    QProcess m_process;
};

/// The process that holds the line of a connection of that machine; 0 when
/// there is none.
pid_t lineHolder(const TestMachine &machine)
{
    const QStringList processes = QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs);
    for (const QString &process : processes) {
        QFile file("/proc/" + process + "/cmdline");
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> words = file.readAll().split('\0');
        if (words.first().endsWith("/simulated-remoteaccess") &&
            words.value(1) == machine.directory().toUtf8())
            return process.toInt();
    }
    return 0;
}

/// Says a command on the phone's port and waits for its answer, through the
/// calls that the program makes.
QByteArray say(SimulatedPc &pc, int port, const QByteArray &command)
{
    const QString path = QString("\\\\.\\COM%1").arg(port);
    const HANDLE handle = pc.CreateFileW(wide(path), GenericRead | GenericWrite, 0, nullptr,
                                         OpenExisting, FileFlagOverlapped, nullptr);
    if (handle == invalidHandle())
        return QByteArray("cannot open: ") + QByteArray::number(lastError());
    CommTimeouts timeouts = {MaxDword, 0, 0, 0, 0};
    pc.SetCommTimeouts(handle, &timeouts);
    pc.SetCommMask(handle, EventReceivedCharacter);
    Overlapped overlapped = {};
    overlapped.hEvent = pc.CreateEventW(nullptr, 1, 0, nullptr);
    DWORD count = 0;
    DWORD mask = 0;
    pc.WriteFile(handle, command.constData(), DWORD(command.size()), &count, &overlapped);
    QByteArray answer;
    while (!answer.contains("OK\r\n") && !answer.contains("ERROR\r\n")) {
        pc.WaitCommEvent(handle, &mask, &overlapped);
        if (pc.WaitForSingleObject(overlapped.hEvent, 5000) != WaitObject0)
            break;
        char buffer[100];
        pc.ReadFile(handle, buffer, sizeof buffer, &count, &overlapped);
        answer.append(buffer, int(count));
    }
    pc.CloseHandle(overlapped.hEvent);
    pc.CloseHandle(handle);
    return answer;
}

/// How many connections there are; -1 when that cannot be told.
int connectionCount(SimulatedPc &pc)
{
    RasConnection record = {};
    record.dwSize = RasConnectionSize;
    DWORD size = sizeof record; // the call replaces it by what is used
    DWORD count = 0;
    return pc.RasEnumConnectionsW(&record, &size, &count) == Success ? int(count) : -1;
}

void prepareEntry(TestMachine &machine)
{
    machine.change([](simulated::MachineState &state) {
        state.portDriverInstalled = true;
        state.portOfSocket[1] = 12;
        RootDevice device;
        device.instanceId = "ROOT\\MODEM\\0000";
        device.className = "Modem";
        device.friendlyName = "MTK GPRS Modem";
        device.driverInf = "oem0.inf";
        device.hasDriverKey = true;
        device.driverKey["AttachedTo"] = "COM12";
        state.devices += device;
        RasEntry entry = simulated::defaultEntry();
        copyToBuffer("MTK GPRS Modem", entry.szDeviceName, 129);
        copyToBuffer("*99#", entry.szLocalPhoneNumber, 129);
        state.phonebook["TolvaneModem 1"] = simulated::entryToJson(entry);
    });
}

} // namespace

class SimulatedProgramsTest : public QObject
{
    Q_OBJECT

private slots:
    void installsThePortDriver()
    {
        TestMachine machine;
        SimulatedPc pc(machine.directory());
        const QString program = delivered("InstallDriver.exe");
        StartupInfo startup = {};
        startup.cb = sizeof startup;
        ProcessInformation information = {};
        QString line = "InstallDriver -a";
        machine.change([](simulated::MachineState &state) { state.installerDurationMs = 400; });
        QElapsedTimer timer;
        timer.start();
        QVERIFY(pc.CreateProcessW(wide(program), reinterpret_cast<WCHAR *>(line.data()), nullptr,
                                  nullptr, 0, 0, nullptr, nullptr, &startup, &information));
        QVERIFY(!machine.state().portDriverInstalled); // it takes its time
        QCOMPARE(pc.WaitForSingleObject(information.hProcess, WaitInfinite), DWORD(WaitObject0));
        QVERIFY(timer.elapsed() >= 400);
        QVERIFY(machine.state().portDriverInstalled);
    }

    void refusesToInstallThePortDriver()
    {
        TestMachine machine;
        const QString installer = "drivers/InstallDriver.exe";
        const Output bare = runProgram(machine, installer, {});
        QCOMPARE(bare.exitCode, 1);
        QVERIFY(bare.error.startsWith("usage: InstallDriver -a"));
        QCOMPARE(runProgram(machine, installer, {"-b"}).exitCode, 1);
        machine.setAdministrator(false);
        const Output denied = runProgram(machine, installer, {"-a"});
        QCOMPARE(denied.exitCode, 2);
        QVERIFY(denied.error.contains("administrator rights"));
        QVERIFY(!machine.state().portDriverInstalled);
        machine.setAdministrator(true);
        QCOMPARE(runProgram(machine, installer, {"-a"}).exitCode, 0);
        QVERIFY(machine.state().portDriverInstalled);
    }

    void holdsNoLineThatIsNotNamed()
    {
        TestMachine machine;
        const Output bare = runProgram(machine, "simulated-remoteaccess", {"folder"});
        QCOMPARE(bare.exitCode, 2);
        QVERIFY(bare.error.startsWith("usage: simulated-remoteaccess DIRECTORY HANDLE LINE"));
    }

    void needsACommand()
    {
        TestMachine machine;
        const Output bare = runProgram(machine, "simulated-pc", {});
        QCOMPARE(bare.exitCode, 2);
        QVERIFY2(bare.error.contains("no command given"), qPrintable(bare.error));
    }

    void bringsDriverPackages_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("processor");
        QTest::newRow("32 bits") << "modem_inf_32.inf"
                                 << "x86";
        QTest::newRow("64 bits") << "modem_inf_64.inf"
                                 << "x64";
        QTest::newRow("Itanium") << "modem_inf_64.inf"
                                 << "ia64";
    }

    void bringsDriverPackages()
    {
        QFETCH(QString, file);
        QFETCH(QString, processor);
        TestMachine machine;
        QCOMPARE(tool(machine, "set windows 6.1/" + processor).exitCode, 0);
        machine.change([](simulated::MachineState &state) {
            RootDevice device;
            device.instanceId = "ROOT\\MODEM\\0000";
            device.className = "Modem";
            device.hardwareIds = QStringList{"mtkgprsmodem"};
            state.devices += device;
        });
        SimulatedPc pc(machine.directory());
        const QString inf = delivered(file);
        QVERIFY(pc.SetupCopyOEMInfW(wide(inf), wide(inf), 0, CopyInfCatalogOnly, nullptr, 0,
                                    nullptr, nullptr));
        Guid guid = {};
        WCHAR name[100] = {};
        QVERIFY(pc.SetupDiGetINFClassW(wide(inf), &guid, name, 200, nullptr));
        QCOMPARE(fromWide(name), QString("Modem"));
        QCOMPARE(guid.Data1, DWORD(0x4D36E96D));
        const QString id = "mtkgprsmodem";
        QVERIFY(pc.UpdateDriverForPlugAndPlayDevicesW(nullptr, wide(id), wide(inf),
                                                      InstallFlagForce, nullptr));
        QCOMPARE(machine.state().devices.first().friendlyName, QString("MTK GPRS Modem"));
    }

    void showsAndChangesTheMachine()
    {
        TestMachine machine;
        const auto lines = [&machine] { return tool(machine, "show").standard.split('\n'); };
        QVERIFY(lines().contains("administrator: on"));
        QVERIFY(lines().contains("windows: 6.1/x64, workstation"));
        QVERIFY(lines().contains("phones: none plugged in"));
        QCOMPARE(tool(machine, "set administrator off").exitCode, 0);
        QCOMPARE(
            tool(machine, "set windows 5.2/ia64 server storage-server r2 no-native-system-info")
                .exitCode,
            0);
        QVERIFY(lines().contains(
            "windows: 5.2/ia64, server, storage server, R2, no GetNativeSystemInfo"));
        QCOMPARE(tool(machine, "set installer-duration 1").exitCode, 0);
        QCOMPARE(tool(machine, "set rescan-duration 2").exitCode, 0);
        QCOMPARE(tool(machine, "set answer-timeout 3").exitCode, 0);
        QCOMPARE(tool(machine, "set hang-up-guard 4").exitCode, 0);
        QCOMPARE(tool(machine, "set port 2 12").exitCode, 0);
        QCOMPARE(tool(machine, "phonebook protected on").exitCode, 0);
        QVERIFY(lines().contains("phone book: empty, only an administrator changes it"));
        QCOMPARE(tool(machine, "phonebook damaged on").exitCode, 0);
        QCOMPARE(tool(machine, "fault add RasHangUpW 5").exitCode, 0);
        QCOMPARE(tool(machine, "fault add SetCommMask 0xE0000235 3 always").exitCode, 0);
        simulated::MachineState state = machine.state();
        QVERIFY(!state.administrator);
        QCOMPARE(state.windows.major, 5);
        QCOMPARE(state.windows.suiteMask, 0x2100);
        QVERIFY(!state.windows.nativeSystemInfo);
        QCOMPARE(state.installerDurationMs, 1);
        QCOMPARE(state.rescanDurationMs, 2);
        QCOMPARE(state.answerTimeoutMs, 3);
        QCOMPARE(state.hangUpGuardMs, 4);
        QCOMPARE(state.portOfSocket, (QMap<int, int>{{2, 12}}));
        QVERIFY(state.phonebookDamaged);
        QVERIFY(state.phonebookProtected);
        QCOMPARE(state.faults.size(), 2);
        QCOMPARE(state.faults.at(0).call, 1);
        QVERIFY(!state.faults.at(0).always);
        QCOMPARE(state.faults.at(1).code, double(0xE0000235));
        QCOMPARE(state.faults.at(1).call, 3);
        QVERIFY(state.faults.at(1).always);
        QVERIFY(lines().contains("phone book: damaged, only an administrator changes it"));
        QVERIFY(lines().contains("fault: call 3 of SetCommMask fails with 3758096949, and all "
                                 "later ones"));
        QCOMPARE(tool(machine, "fault add * 5").exitCode, 0);
        QCOMPARE(machine.state().faults.size(), 3);
        QCOMPARE(tool(machine, "fault clear").exitCode, 0);
        QVERIFY(machine.state().faults.isEmpty());
        QCOMPARE(tool(machine, "reset").exitCode, 0);
        QCOMPARE(machine.state().toJson(), simulated::MachineState().toJson());
    }

    void refusesWrongUse_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("message");
        const auto row = [](const char *command, int exitCode, const char *message) {
            QTest::newRow(command) << command << exitCode << message;
        };
        row("bogus", 2, "unknown command \"bogus\"");
        row("set", 2, "unknown command \"set\"");
        row("set administrator", 2, "usage: simulated-pc set administrator on|off");
        row("set administrator maybe", 2, "neither on nor off");
        row("set windows 95", 2, "such as 6.1/x64");
        row("set windows 6.1/arm", 2, "such as 6.1/x64");
        row("set windows 6.1/x64 cluster", 2, "unknown word \"cluster\"");
        row("set rescan-duration -1", 2, "milliseconds");
        row("set rescan-duration soon", 2, "milliseconds");
        row("set port 0 5", 2, "numbered from 1");
        row("set port 1 1", 2, "COM1 is on board");
        row("set port 1 257", 2, "from 2 to 256");
        row("fault add RasHangup 5", 2, "unknown operation \"RasHangup\"; there are: * AllowSet");
        row("fault add RasHangUpW many", 2, "the code is a number");
        row("fault add RasHangUpW 5 0", 2, "CALL from 1");
        row("fault add RasHangUpW 5 1 2", 2, "CALL from 1");
        row("phonebook damaged", 2, "usage");
        row("phonebook protected maybe", 2, "neither on nor off");
        row("dial Nobody", 1, "error 623: The system could not find the phone book entry");
        row("hangup Nobody", 1, "Nobody is not connected");
        row("--state", 2, "needs a directory");
    }

    void refusesWrongUse()
    {
        QFETCH(QString, command);
        QFETCH(int, exitCode);
        QFETCH(QString, message);
        TestMachine machine;
        const QByteArray before = machine.state().toJson();
        const Output output = tool(machine, command);
        QCOMPARE(output.exitCode, exitCode);
        QVERIFY2(output.error.contains(message), qPrintable(output.error));
        QCOMPARE(machine.state().toJson(), before);
    }

    void tellsWhereTheMachineIs_data()
    {
        QTest::addColumn<QString>("variable");
        QTest::addColumn<QString>("value"); // %1: the folder that the tool runs in
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("directory");
        QTest::newRow("named") << "SIMULATED_PC"
                               << "%1/a" << QStringList() << "%1/a";
        QTest::newRow("named from here") << "SIMULATED_PC"
                                         << "b/../a" << QStringList() << "%1/a";
        QTest::newRow("state directory") << "XDG_STATE_HOME"
                                         << "%1/a" << QStringList() << "%1/a/tolvane-simulated-pc";
        QTest::newRow("state directory from here")
            << "XDG_STATE_HOME"
            << "a" << QStringList() << "%1/a/tolvane-simulated-pc";
        QTest::newRow("home directory")
            << "HOME"
            << "%1/a" << QStringList() << "%1/a/.local/state/tolvane-simulated-pc";
        QTest::newRow("option") << "SIMULATED_PC"
                                << "%1/b" << QStringList{"--state", "a"} << "%1/a";
    }

    void tellsWhereTheMachineIs()
    {
        QFETCH(QString, variable);
        QFETCH(QString, value);
        QFETCH(QStringList, options);
        QFETCH(QString, directory);
        const QTemporaryDir folder;
        const QString here = QDir(folder.path()).canonicalPath();
        const auto placed = [&here](const QString &text) {
            return text.contains("%1") ? text.arg(here) : text;
        };
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("SIMULATED_PC");
        environment.remove("XDG_STATE_HOME");
        environment.insert(variable, placed(value));
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(here);
        process.start(QCoreApplication::applicationDirPath() + "/simulated-pc",
                      options + QStringList{"directory"});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()), placed(directory) + '\n');
        QVERIFY(QDir(here).isEmpty()); // asking makes nothing
    }

    void keepsPortNumbersApart()
    {
        TestMachine machine;
        QCOMPARE(tool(machine, "set port 1 12").exitCode, 0);
        QCOMPARE(tool(machine, "set port 1 12").exitCode, 0);
        const Output taken = tool(machine, "set port 2 12");
        QCOMPARE(taken.exitCode, 1);
        QVERIFY(taken.error.contains("COM12 belongs to socket 1"));
    }

    void explainsItself()
    {
        TestMachine machine;
        const Output help = tool(machine, "--help");
        QCOMPARE(help.exitCode, 0);
        QVERIFY(help.standard.contains("simulated-pc [--state DIRECTORY] COMMAND"));
        QVERIFY(help.standard.contains("  fault add OPERATION CODE [CALL] [always]\n"));
        QCOMPARE(tool(machine, "--version").exitCode, 0);
        QTemporaryDir other;
        QVERIFY(tool(machine, "--state " + other.path() + " show")
                    .standard.startsWith("state: " + other.path()));
    }

    void worksWithTheVirtualPhone()
    {
        TestMachine machine;
        prepareEntry(machine);
        SimulatedPc pc(machine.directory());
        PhoneProcess phone(machine, {"--accept-apn", "internet"});
        QVERIFY(phone.waitUntilPlugged());

        // An access point that the network does not know.
        const QByteArray wrong = say(pc, 12, "AT+CGDCONT=1,\"IP\",\"nowhere\"\r");
        QVERIFY2(wrong.endsWith("\r\nOK\r\n"), wrong.constData());
        const Output failed = runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"});
        QCOMPARE(failed.exitCode, 1);
        QVERIFY2(failed.error.contains("error 6"), qPrintable(failed.error));

        const QByteArray right = say(pc, 12, "AT+CGDCONT=1,\"IP\",\"internet\"\r");
        QVERIFY2(right.endsWith("\r\nOK\r\n"), right.constData());
        const Output connected = runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"});
        QVERIFY2(connected.exitCode == 0, qPrintable(connected.error));
        QVERIFY(connected.standard.contains("Connected."));
        QVERIFY(tool(machine, "show").standard.contains("connection 1: TolvaneModem 1 through"));
        // The other process's connection is this one's, too, and holds the port.
        QCOMPARE(say(pc, 12, "AT\r"), QByteArray("cannot open: 5"));
        QCOMPARE(connectionCount(pc), 1);

        const Output down = runProgram(machine, "simulated-pc", {"hangup", "TolvaneModem 1"});
        QVERIFY2(down.exitCode == 0 && down.error.isEmpty(), qPrintable(down.error));
        QVERIFY(say(pc, 12, "AT\r").endsWith("\r\nOK\r\n"));

        // What the phone says while the port is closed is no part of the next
        // answer: not NO CARRIER of a connection that ended, nor a late OK.
        QCOMPARE(runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"}).exitCode, 0);
        QVERIFY(phone.send("drop"));
        QCOMPARE(say(pc, 12, "AT\r"), QByteArray("AT\r\r\nOK\r\n"));
        QCOMPARE(runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"}).exitCode, 0);
        QCOMPARE(runProgram(machine, "simulated-pc", {"hangup", "TolvaneModem 1"}).exitCode, 0);
        QCOMPARE(say(pc, 12, "AT\r"), QByteArray("AT\r\r\nOK\r\n"));

        // The network drops one connection, the next ends with the plug.
        QCOMPARE(runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"}).exitCode, 0);
        QVERIFY(phone.send("drop"));
        QCOMPARE(connectionCount(pc), 0);
        QCOMPARE(runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"}).exitCode, 0);
        QVERIFY(phone.send("unplug"));
        QCOMPARE(connectionCount(pc), 0);
        QCOMPARE(say(pc, 12, "AT\r"), QByteArray("cannot open: 2"));
    }

    void portStaysOpenWhileConnected_data()
    {
        QTest::addColumn<QString>("end");
        QTest::newRow("hung up") << "hangup";
        QTest::newRow("dropped by the network") << "drop";
        QTest::newRow("unplugged") << "unplug";
        QTest::newRow("line let go") << "kill";
    }

    void portStaysOpenWhileConnected()
    {
        QFETCH(QString, end);
        TestMachine machine;
        prepareEntry(machine);
        SimulatedPc pc(machine.directory());
        PhoneProcess phone(machine);
        QVERIFY(phone.waitUntilPlugged());
        QVERIFY(say(pc, 12, "AT+CGDCONT=1,\"IP\",\"internet\"\r").endsWith("\r\nOK\r\n"));
        QVERIFY(phone.waitForStatus("port=closed"));

        // What dialled has ended, and the phone still sees a PC that is ready.
        QCOMPARE(runProgram(machine, "simulated-pc", {"dial", "TolvaneModem 1"}).exitCode, 0);
        QVERIFY(phone.waitForStatus("port=open state=data carrier=yes"));
        const pid_t holder = lineHolder(machine);
        QVERIFY(holder != 0);

        if (end == "hangup")
            QCOMPARE(runProgram(machine, "simulated-pc", {end, "TolvaneModem 1"}).exitCode, 0);
        else if (end == "kill")
            QCOMPARE(::kill(holder, SIGKILL), 0);
        else
            QVERIFY(phone.send(end));
        if (end != "unplug")
            QVERIFY(phone.waitForStatus("port=closed state=command carrier=no"));
        QTRY_COMPARE(lineHolder(machine), 0);
        QVERIFY(!tool(machine, "show").standard.contains("connection 1"));
    }
};

QTEST_GUILESS_MAIN(SimulatedProgramsTest)
#include "simulated_programs_test.moc"
