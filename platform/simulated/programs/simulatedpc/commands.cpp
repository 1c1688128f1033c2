#include "platform/simulated/programs/simulatedpc/commands.h"

#include "platform/faultinjection/faultinjectingplatform.h"
#include "platform/simulated/hangup.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/modemdialler.h"
#include "platform/simulated/usbbus.h"

#include <QCoreApplication>
#include <QDir>
#include <QRegularExpression>

#include <cstdio>
#include <limits>

using namespace platform::simulated;

namespace {

void print(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
}

int complain(ExitCode code, const QString &message)
{
    std::fprintf(stderr, "simulated-pc: %s\n", qPrintable(message));
    return code;
}

QString onOff(bool value)
{
    return value ? "on" : "off";
}

bool readOnOff(const QString &text, bool *value)
{
    *value = text == "on";
    return *value || text == "off";
}

/// A whole number from lowest to highest, in decimal or after 0x in
/// hexadecimal.
template<class Number>
bool readNumber(const QString &text, Number lowest, Number highest, Number *value)
{
    bool isNumber = false;
    const bool hexadecimal = text.startsWith("0x");
    const qlonglong number = text.toLongLong(&isNumber, hexadecimal ? 16 : 10);
    if (!isNumber || number < qlonglong(lowest) || number > qlonglong(highest))
        return false;
    *value = static_cast<Number>(number);
    return true;
}

int save(MachineSession *session)
{
    return session->save() ? Done : Failed; // save() says why
}

/// Tells for each phone why it has no port, which is what one wants to know.
void showPorts(MachineSession *session)
{
    const MachineState &state = session->state;
    const QList<PresentPort> ports = presentPorts(session).value_or(QList<PresentPort>());
    const QList<PhoneOnBus> phones = phonesOnBus(session->directory());
    if (phones.isEmpty())
        print("phones: none plugged in");
    for (const PhoneOnBus &phone : phones) {
        QString port = state.portDriverInstalled ? "waiting for a rescan" : "without a driver";
        for (const PresentPort &each : ports) {
            if (each.phone.plugId == phone.plugId)
                port = each.friendlyName();
        }
        print(QString("phone in socket %1: %2, %3, carrier %4")
                  .arg(phone.socket)
                  .arg(phone.tty, port, onOff(phone.carrier)));
    }
}

int show(const QString &directory, const QStringList &)
{
    MachineSession session(directory);
    const MachineState &state = session.state;
    dropDeadConnections(&session);
    const WindowsRelease &windows = state.windows;
    print("state: " + directory);
    print("administrator: " + onOff(state.administrator));
    print(QString("windows: %1.%2/%3, %4%5%6%7")
              .arg(windows.major)
              .arg(windows.minor)
              .arg(processorName(windows.processor),
                   windows.productType == 1 ? "workstation" : "server",
                   windows.suiteMask & 0x2000 ? ", storage server" : "",
                   windows.serverR2 ? ", R2" : "",
                   windows.nativeSystemInfo ? "" : ", no GetNativeSystemInfo"));
    print(QString("durations: installer %1 ms, rescan %2 ms, answer time-out %3 ms, "
                  "hang-up guard %4 ms")
              .arg(state.installerDurationMs)
              .arg(state.rescanDurationMs)
              .arg(state.answerTimeoutMs)
              .arg(state.hangUpGuardMs));
    print(QString("port driver: ") + (state.portDriverInstalled ? "installed" : "missing"));
    showPorts(&session);
    const QStringList infs = QDir(directory + "/inf").entryList({"*.inf"}, QDir::Files);
    print("INF store: " + (infs.isEmpty() ? QString("empty") : infs.join(", ")));
    for (const platform::RootDevice &device : state.devices) {
        print(QString("device %1: %2, %3, attached to %4")
                  .arg(device.instanceId, device.hardwareIds.join(", "),
                       device.driverInf.isEmpty() ? QString("no driver") : device.friendlyName,
                       device.driverKey.value("AttachedTo", "nothing")));
    }
    print("phone book: " +
          (state.phonebookDamaged      ? QString("damaged")
           : state.phonebook.isEmpty() ? QString("empty")
                                       : QStringList(state.phonebook.keys()).join(", ")) +
          (state.phonebookProtected ? ", only an administrator changes it" : ""));
    for (const Connection &connection : state.connections) {
        print(QString("connection %1: %2 through %3 on COM%4")
                  .arg(connection.handle)
                  .arg(connection.entry, connection.device)
                  .arg(connection.port));
    }
    for (const InjectedFault &fault : state.faults) {
        print(QString("fault: call %1 of %2 fails with %3%4")
                  .arg(fault.call)
                  .arg(fault.operation)
                  .arg(fault.code, 0, 'f', 0)
                  .arg(fault.always ? ", and all later ones" : ""));
    }
    return Done;
}

int printDirectory(const QString &directory, const QStringList &)
{
    print(directory);
    return Done;
}

int reset(const QString &directory, const QStringList &)
{
    MachineSession session(directory);
    // The lock is held: a program that runs sees the old machine or the new one.
    session.state = MachineState();
    if (!QDir(directory + "/inf").removeRecursively())
        return complain(Failed, "the INF store cannot be emptied");
    return save(&session);
}

int setWindows(const QString &directory, const QStringList &arguments)
{
    static const QRegularExpression pattern("^([0-9]{1,3})\\.([0-9]{1,3})/(x86|x64|ia64)$");
    const QRegularExpressionMatch match = pattern.match(arguments.first());
    if (!match.hasMatch())
        return complain(WrongUse, "set windows: a release such as 6.1/x64, 5.1/x86 or 5.2/ia64");
    MachineSession session(directory);
    WindowsRelease windows; // workstation unless said otherwise
    windows.major = match.captured(1).toInt();
    windows.minor = match.captured(2).toInt();
    processorFromName(match.captured(3), &windows.processor);
    for (const QString &feature : arguments.mid(1)) {
        if (feature == "server")
            windows.productType = 3;
        else if (feature == "storage-server")
            windows.suiteMask |= 0x2000;
        else if (feature == "r2")
            windows.serverR2 = 1;
        else if (feature == "no-native-system-info")
            windows.nativeSystemInfo = false;
        else
            return complain(WrongUse, QString("set windows: unknown word \"%1\"").arg(feature));
    }
    session.state.windows = windows;
    return save(&session);
}

template<bool MachineState::*property>
int setProperty(const QString &directory, const QStringList &arguments)
{
    MachineSession session(directory);
    if (!readOnOff(arguments.first(), &(session.state.*property)))
        return complain(WrongUse, QString("\"%1\" is neither on nor off").arg(arguments.first()));
    return save(&session);
}

template<int MachineState::*duration>
int setDuration(const QString &directory, const QStringList &arguments)
{
    constexpr int longest = 3600 * 1000;
    MachineSession session(directory);
    if (!readNumber(arguments.first(), 0, longest, &(session.state.*duration)))
        return complain(WrongUse, "a duration is a number of milliseconds, at most 3600000");
    return save(&session);
}

int setPort(const QString &directory, const QStringList &arguments)
{
    int socket = 0;
    int port = 0;
    if (!readNumber(arguments.at(0), 1, 9999, &socket))
        return complain(WrongUse, "set port: sockets are numbered from 1");
    if (!readNumber(arguments.at(1), 2, LastPort, &port))
        return complain(WrongUse, QString("set port: a number from %1 to %2 (COM1 is on board)")
                                      .arg(OnBoardPort + 1)
                                      .arg(LastPort));
    MachineSession session(directory);
    // Two sockets of one number could never both be used.
    const int owner = session.state.portOfSocket.key(port, socket);
    if (owner != socket)
        return complain(Failed, QString("COM%1 belongs to socket %2").arg(port).arg(owner));
    session.state.portOfSocket[socket] = port;
    return save(&session);
}

int addFault(const QString &directory, const QStringList &arguments)
{
    InjectedFault fault;
    fault.operation = arguments.at(0);
    // A fault of another name could never fire.
    const QStringList known = platform::FaultInjectingPlatform::failingOperations();
    if (fault.operation != "*" && !known.contains(fault.operation))
        return complain(WrongUse, QString("fault add: unknown operation \"%1\"; there are: * %2")
                                      .arg(fault.operation, known.join(' ')));
    qlonglong code = 0;
    constexpr auto highest = qlonglong(std::numeric_limits<platform::DWORD>::max());
    if (!readNumber(arguments.at(1), qlonglong(0), highest, &code))
        return complain(WrongUse, "fault add: the code is a number, such as 5 or 0xE0000235");
    fault.code = static_cast<double>(code);
    QStringList rest = arguments.mid(2);
    if (!rest.isEmpty() && rest.last() == "always") {
        fault.always = true;
        rest.removeLast();
    }
    const bool isCall = rest.isEmpty() ||
                        (rest.size() == 1 &&
                         readNumber(rest.first(), 1, std::numeric_limits<int>::max(), &fault.call));
    if (!isCall)
        return complain(WrongUse, "fault add: OPERATION CODE [CALL] [always], CALL from 1");
    MachineSession session(directory);
    session.state.faults += fault;
    return save(&session);
}

int clearFaults(const QString &directory, const QStringList &)
{
    MachineSession session(directory);
    session.state.faults.clear();
    return save(&session);
}

int dial(const QString &directory, const QStringList &arguments)
{
    // The same code as behind the dial dialog, so that both fail alike.
    ModemDialler dialler(directory, arguments.first(), arguments.value(1));
    QObject::connect(&dialler, &ModemDialler::progressed, &print);
    QObject::connect(&dialler, &ModemDialler::connected, [] { QCoreApplication::exit(Done); });
    QObject::connect(&dialler, &ModemDialler::failed, [](const platform::DialFailure &failure) {
        complain(Failed, QString("error %1: %2").arg(failure.code).arg(failure.text));
        QCoreApplication::exit(Failed);
    });
    dialler.start();
    return QCoreApplication::exec();
}

int hangUpEntry(const QString &directory, const QStringList &arguments)
{
    int handle = 0;
    {
        MachineSession session(directory);
        dropDeadConnections(&session);
        for (const Connection &connection : session.state.connections) {
            if (connection.entry == arguments.first())
                handle = connection.handle;
        }
    }
    if (handle == 0)
        return complain(Failed, QString("%1 is not connected").arg(arguments.first()));
    const platform::DWORD code = hangUp(directory, handle);
    return code == platform::Success ? int(Done) : complain(Failed, QString("error %1").arg(code));
}

/// The table is the parser and the help in one, so they cannot differ.
struct Command {
    QStringList words;
    QString arguments; ///< for people
    int fewest;        ///< arguments
    int most;
    int (*run)(const QString &directory, const QStringList &arguments);
    QString help;
};

const QList<Command> &commands()
{
    constexpr int any = 99;
    static const QList<Command> all = {
        {{"show"}, "", 0, 0, show, "print the machine's state"},
        {{"directory"}, "", 0, 0, printDirectory, "print where the machine is kept"},
        {{"reset"}, "", 0, 0, reset, "start with a new machine; phones stay plugged in"},
        {{"set", "administrator"},
         "on|off",
         1,
         1,
         setProperty<&MachineState::administrator>,
         "the user's rights"},
        {{"set", "windows"},
         "VERSION/PROCESSOR [server] [storage-server] [r2] [no-native-system-info]",
         1,
         any,
         setWindows,
         "the release, such as 6.1/x64"},
        {{"set", "installer-duration"},
         "MS",
         1,
         1,
         setDuration<&MachineState::installerDurationMs>,
         "how long the driver installer takes"},
        {{"set", "rescan-duration"},
         "MS",
         1,
         1,
         setDuration<&MachineState::rescanDurationMs>,
         "how long a rescan of the devices takes"},
        {{"set", "answer-timeout"},
         "MS",
         1,
         1,
         setDuration<&MachineState::answerTimeoutMs>,
         "how long a dial waits for the phone"},
        {{"set", "hang-up-guard"},
         "MS",
         1,
         1,
         setDuration<&MachineState::hangUpGuardMs>,
         "silence around the escape sequence of a hang-up"},
        {{"set", "port"}, "SOCKET NUMBER", 2, 2, setPort, "the COM number of a USB socket"},
        {{"phonebook", "damaged"},
         "on|off",
         1,
         1,
         setProperty<&MachineState::phonebookDamaged>,
         "damage the phone book"},
        {{"phonebook", "protected"},
         "on|off",
         1,
         1,
         setProperty<&MachineState::phonebookProtected>,
         "let only an administrator change the phone book"},
        {{"dial"}, "ENTRY [NUMBER]", 1, 2, dial, "connect without the dialog"},
        {{"hangup"}, "ENTRY", 1, 1, hangUpEntry, "end a connection"},
        {{"fault", "add"},
         "OPERATION CODE [CALL] [always]",
         2,
         4,
         addFault,
         "let a call of the next program fail"},
        {{"fault", "clear"}, "", 0, 0, clearFaults, "remove all faults"},
    };
    return all;
}

} // namespace

int runCommand(const QString &directory, const QStringList &arguments)
{
    if (arguments.isEmpty())
        return complain(WrongUse, "no command given; see --help");
    for (const Command &command : commands()) {
        const int words = static_cast<int>(command.words.size());
        if (arguments.mid(0, words) != command.words)
            continue;
        // Known words with wrong arguments get their own usage line.
        const QStringList rest = arguments.mid(words);
        if (rest.size() < command.fewest || rest.size() > command.most)
            return complain(WrongUse, QString("usage: simulated-pc %1 %2")
                                          .arg(command.words.join(' '), command.arguments));
        return command.run(directory, rest);
    }
    return complain(WrongUse,
                    QString("unknown command \"%1\"; see --help").arg(arguments.join(' ')));
}

QString commandHelp()
{
    QString help;
    for (const Command &command : commands()) {
        const QString usage =
            QString("%1 %2").arg(command.words.join(' '), command.arguments).trimmed();
        help += QString("  %1\n      %2\n").arg(usage, command.help);
    }
    return help;
}
