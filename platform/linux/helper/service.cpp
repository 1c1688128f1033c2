#include "platform/linux/helper/service.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/configmanager.h"
#include "platform/linux/helper/checks.h"
#include "platform/linux/helper/line.h"
#include "platform/linux/helper/pppdrun.h"
#include "platform/linux/lineholders.h"
#include "platform/linux/ownership.h"
#include "platform/linux/portlist.h"
#include "platform/linux/pppdresult.h"
#include "platform/linux/setupapi.h"
#include "platform/standin/entryname.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

extern char **environ;

namespace platform::linuxsystem {

namespace {

constexpr int LargestInf = 64 * 1024; // bytes

bool hasFields(const QJsonObject &object, const QStringList &names)
{
    const QStringList keys = object.keys();
    return QSet<QString>(keys.begin(), keys.end()) == QSet<QString>(names.begin(), names.end());
}

/// The bytes of a text in base64; empty for one that is none or too long.
QByteArray bytesOf(const QJsonValue &value, int most)
{
    const QByteArray text = value.toString().toLatin1();
    if (text.size() > most * 2)
        return {};
    const auto decoded =
        QByteArray::fromBase64Encoding(text, QByteArray::AbortOnBase64DecodingErrors);
    return decoded && (*decoded).size() <= most ? *decoded : QByteArray();
}

/// Takes a list as changeDevicesRequest() writes it, with no field more or less.
bool readList(const QJsonValue &value, DeviceList *list)
{
    if (readDevices(value.toObject(), list) != Success)
        return false;
    QJsonObject written;
    writeDevices(&written, *list);
    return written == value.toObject();
}

} // namespace

struct Service::Known {
    const char *name;
    Role role;
    QStringList fields; ///< besides "do"
    DWORD (Service::*function)(const QJsonObject &);
};

const Service::Known Service::requests[] = {
    {"install-driver", Role::SetUp, {}, &Service::installDriver},
    {"rescan", Role::SetUp, {}, &Service::rescan},
    {"store-inf", Role::SetUp, {"name", "content"}, &Service::storeInf},
    {"change-devices", Role::SetUp, {"seen", "wanted"}, &Service::changeDevices},
    {"put-state-aside", Role::SetUp, {}, &Service::putStateAside},
    {"write-entry", Role::SetUp, {"name", "record"}, &Service::writeEntry},
    {"hang-up", Role::Connect, {"process"}, &Service::hangUp},
    {"free-line", Role::Connect, {"device"}, &Service::freeLine},
    {"sign-in", Role::Connect, {"name", "password"}, &Service::signIn},
    {"hang-up", Role::EndOthers, {"process"}, &Service::hangUp},
};

Service::Service(const SystemPaths &paths, const Program &program, Role role,
                 std::chrono::milliseconds patience)
    : m_paths(paths),
      m_program(program),
      m_role(role),
      m_store(std::make_shared<StateStore>(paths.state, patience)),
      m_entries(paths, program, m_store)
{
}

DWORD Service::answer(const QJsonObject &request, QJsonObject *more)
{
    m_more = {};
    DWORD refusal = ErrorInvalidParameter;
    for (const Known &known : requests) {
        if (request.value("do") != QLatin1String(known.name))
            continue;
        if (known.role != m_role) {
            refusal = ErrorAccessDenied;
            continue;
        }
        refusal = hasFields(request, QStringList("do") + known.fields)
                      ? (this->*known.function)(request)
                      : DWORD(ErrorInvalidParameter);
        break;
    }
    if (more)
        *more = m_more;
    return refusal;
}

DWORD Service::installDriver(const QJsonObject &)
{
    const QByteArray program = QFile::encodeName(m_paths.drivers + "/InstallDriver");
    if (!isOnlyRoots(m_paths.drivers + "/InstallDriver", m_paths.trusted))
        return ErrorAccessDenied;
    char name[] = "InstallDriver";
    char option[] = "-a";
    char *arguments[] = {name, option, nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    // What it says is no reply.
    ::posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, 2, 1);
    pid_t child = 0;
    const int result =
        ::posix_spawn(&child, program.constData(), &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (result != 0)
        return result == ENOENT ? DWORD(ErrorFileNotFound) : DWORD(ErrorAccessDenied);
    std::thread([child] {
        while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return Success;
}

DWORD Service::rescan(const QJsonObject &)
{
    return rescanSerialDevices() == ConfigSuccess ? DWORD(Success) : DWORD(ErrorGenFailure);
}

/// Nothing but the driver package's own files, and none in another's place.
DWORD Service::storeInf(const QJsonObject &request)
{
    const QString name = request.value("name").toString();
    const QByteArray content = bytesOf(request.value("content"), LargestInf);
    if (!isInfName(name) || content.isEmpty())
        return ErrorInvalidParameter;
    const QDir drivers(m_paths.drivers);
    bool isOwn = false;
    for (const QString &each : drivers.entryList({"*.inf"}, QDir::Files)) {
        QFile file(drivers.filePath(each));
        isOwn = isOwn || (file.size() <= LargestInf && file.open(QIODevice::ReadOnly) &&
                          file.readAll() == content);
    }
    if (!isOwn)
        return ErrorAccessDenied;
    if (QFile::exists(infFolderOf(*m_store) + '/' + name))
        return ErrorFileExists;
    return writeInf(*m_store, name, content);
}

DWORD Service::changeDevices(const QJsonObject &request)
{
    DeviceList seen;
    DeviceList wanted;
    if (!readList(request.value("seen"), &seen) || !readList(request.value("wanted"), &wanted))
        return ErrorInvalidParameter;
    DWORD outcome = Success;
    const DWORD code = m_store->change([&](QJsonObject *state) {
        DeviceList present;
        outcome = readDevices(*state, &present);
        if (outcome == Success && !(present == seen))
            outcome = ErrorRetry;
        else if (outcome == Success && !isPlausible(wanted, present, infFolderOf(*m_store)))
            outcome = ErrorInvalidParameter;
        if (outcome == Success)
            writeDevices(state, wanted);
        return outcome == Success;
    });
    return code == Success ? outcome : code;
}

DWORD Service::putStateAside(const QJsonObject &)
{
    return putDamagedStateAside(m_store.get());
}

DWORD Service::writeEntry(const QJsonObject &request)
{
    const QString name = request.value("name").toString();
    const QByteArray record = bytesOf(request.value("record"), int(sizeof(RasEntry)));
    RasEntry entry = {};
    if (!isEntryName(name) || record.size() != int(sizeof entry))
        return ErrorInvalidParameter;
    std::memcpy(&entry, record.constData(), sizeof entry);
    return entry.dwSize == RasEntrySize ? m_entries.write(name, entry)
                                        : DWORD(ErrorInvalidParameter);
}

DWORD Service::hangUp(const QJsonObject &request)
{
    const QJsonValue process = request.value("process");
    if (process.toInt() <= 0)
        return ErrorInvalidParameter;
    for (const ActiveLink &link : activeLinks(m_entries.phoneBook(), m_paths.run)) {
        if (link.process != process.toInt())
            continue;
        const bool isAllowed = m_role == Role::EndOthers || link.owner == m_paths.user;
        return isAllowed ? endLink(link) : DWORD(ErrorAccessDenied);
    }
    return ErrorInvalidHandle;
}

DWORD Service::signIn(const QJsonObject &request)
{
    const QJsonValue name = request.value("name");
    const QJsonValue password = request.value("password");
    if (!name.isString() || !password.isString() || name.toString().isEmpty() ||
        !isSignInText(name.toString()) || !isSignInText(password.toString()))
        return ErrorInvalidParameter;
    return m_entries.phoneBook().writeSignIn(name.toString(), password.toString());
}

/// For the line of a phone only, so that nobody can disturb other modems.
DWORD Service::freeLine(const QJsonObject &request)
{
    const QString device = request.value("device").toString();
    QList<SerialPortDevice> ports;
    const DWORD code = presentSerialPorts(m_program, m_store.get(), &ports);
    if (code != Success)
        return code;
    const bool isPhones = std::any_of(ports.begin(), ports.end(), [&device](const auto &port) {
        return port.isPhoneModem && port.node == device;
    });
    if (!isPhones)
        return ErrorInvalidParameter;
    QString holder;
    const DWORD outcome = linuxsystem::freeLine(device, m_paths, &holder);
    if (outcome != Success)
        m_more.insert("holder", holder);
    return outcome;
}

bool Service::isDial(const QJsonObject &request)
{
    return request.value("do") == QLatin1String("dial");
}

DWORD Service::checkDial(const QJsonObject &request, Dial *dial) const
{
    if (m_role != Role::Connect)
        return ErrorAccessDenied;
    dial->peer = request.value("entry").toString();
    dial->number = request.value("number").toString();
    const auto entry = m_entries.phoneBook().entryName(dial->peer);
    if (!hasFields(request, {"do", "entry", "device", "number"}) || !entry ||
        !isDialable(dial->number))
        return ErrorInvalidParameter;
    if (entry->owner != m_paths.user)
        return ErrorAccessDenied;
    // The line is found anew: what the window says is only compared with it.
    const DWORD code = m_entries.findLine(entry->name, &dial->device);
    if (code != Success)
        return code;
    if (request.value("device").toString() != dial->device)
        return RasErrorPortOrDevice;
    QString changeable;
    switch (m_entries.phoneBook().peer(entry->name, &changeable)) {
    case PhoneBook::Peer::Good:
        return m_entries.phoneBook().ensureSignIn();
    case PhoneBook::Peer::Missing:
        // Somebody has taken pppd's part away; what is left is good for nothing.
        m_entries.phoneBook().forget(entry->name);
        break;
    case PhoneBook::Peer::Changeable:
        // The entry made anew will name this program's own.
        std::fprintf(stderr, "%s: others than root can change what this entry runs: %s\n",
                     qPrintable(dial->peer), qPrintable(changeable));
        break;
    }
    return RasErrorEntryNotFound;
}

namespace {

void dialWith(const SystemPaths &paths, const Service::Dial &dial, int input, int output)
{
    // ModemManager may have taken the line since the window had it.
    QString holder;
    freeLine(dial.device, paths, &holder);
    if (hangUpLine(dial.device, paths.locks) == Success) {
        runPppd(paths.pppd, dial.peer, dial.device, dial.number, input, output);
        return;
    }
    QJsonObject outcome{{"code", 0}, {"status", StatusPortNotOpened}};
    if (!holder.isEmpty())
        outcome.insert("holder", holder);
    sendLine(output, outcome);
}

} // namespace

int serve(const SystemPaths &paths, const Program &program, Role role, int input, int output,
          int idlePatience)
{
    // The end of the other side is seen where it is read, in the middle of a dial
    // too; pppd must not be left alone by a signal.
    for (const int number : {SIGPIPE, SIGTERM, SIGINT, SIGHUP})
        std::signal(number, SIG_IGN);
    Service service(paths, program, role);
    LineReader reader(input);
    QByteArray line;
    if (!sendLine(output, {{"ready", true}}))
        return 0;
    while (reader.next(&line, idlePatience) == LineReader::Result::Line) {
        const QJsonObject request = requestFromLine(line).value_or(QJsonObject());
        if (Service::isDial(request)) {
            Service::Dial dial;
            const DWORD code = service.checkDial(request, &dial);
            if (code == Success)
                dialWith(paths, dial, input, output);
            else
                sendLine(output, {{"code", double(code)}});
            return 0;
        }
        QJsonObject reply;
        const DWORD code = service.answer(request, &reply);
        reply.insert("code", double(code));
        if (!sendLine(output, reply))
            return 0;
    }
    return 0;
}

} // namespace platform::linuxsystem
