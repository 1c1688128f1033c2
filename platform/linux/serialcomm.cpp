#include "platform/posix/serialcomm.h"

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/lineholders.h"
#include "platform/linux/notices.h"
#include "platform/linux/portlist.h"
#include "platform/linux/seriallock.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

/// What is done about a phone's line that cannot be opened: ModemManager is asked
/// to let it go; whoever else has it is named to the user.
class BusyLine
{
public:
    BusyLine(const SystemPaths &paths, const std::shared_ptr<HelperClient> &helper,
             const std::shared_ptr<Notices> &notices)
        : m_paths(paths), m_helper(helper), m_notices(notices)
    {
    }

    /// Whether opening the line once more may succeed.
    bool isFreed(const QString &node) const
    {
        const QByteArray path = QFile::encodeName(node);
        if (::access(path.constData(), R_OK | W_OK) != 0 && errno == EACCES) {
            m_notices->portForbidden();
            return false;
        }
        const QList<LineHolder> seen = holdersOf(node, m_paths.locks);
        const bool isOwn = std::any_of(seen.begin(), seen.end(), [](const LineHolder &each) {
            return each.process == ::getpid();
        });
        if (isOwn) {
            m_notices->portKept();
            return false;
        }
        QString holder;
        if (free(node, seen, &holder) == Success)
            return true;
        m_notices->portInUse(holder);
        return false;
    }

private:
    DWORD free(const QString &node, const QList<LineHolder> &seen, QString *holder) const
    {
        if (!m_helper->isNeeded())
            return freeLine(node, m_paths, holder);
        // The user's own programs are seen without rights.
        if (!seen.isEmpty() && seen.first().program != modemManagerProgram) {
            *holder = seen.first().program;
            return ErrorAccessDenied;
        }
        QJsonObject reply;
        const DWORD code = m_helper->ask(Role::Connect, freeLineRequest(node), &reply);
        *holder = reply.value("holder").toString();
        return code;
    }

    const SystemPaths m_paths;
    const std::shared_ptr<HelperClient> m_helper;
    const std::shared_ptr<Notices> m_notices;
};

/// The line of the phone behind `\\\\.\\COMn`; empty for any other.
QString phoneNode(const QString &path, const Program &program, StateStore *store)
{
    const int number = path.mid(QString("\\\\.\\COM").size()).toInt();
    QList<SerialPortDevice> ports;
    if (presentSerialPorts(program, store, &ports) != Success)
        return {};
    for (const SerialPortDevice &port : std::as_const(ports)) {
        if (port.number == number && port.isPhoneModem)
            return port.node;
    }
    return {};
}

} // namespace

void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const SystemPaths &paths, const Program &program,
                       const std::shared_ptr<StateStore> &store,
                       const std::shared_ptr<HelperClient> &helper,
                       const std::shared_ptr<Notices> &notices)
{
    const auto deviceNodeForPort = [locks = paths.locks, program, store](int number,
                                                                         QString *node) -> DWORD {
        QList<SerialPortDevice> ports;
        const DWORD code = presentSerialPorts(program, store.get(), &ports);
        if (code != Success)
            return code;
        for (const SerialPortDevice &port : std::as_const(ports)) {
            if (port.number != number)
                continue;
            if (lockOwner(locks, port.kernelName) > 0)
                return ErrorAccessDenied;
            *node = port.node;
            return Success;
        }
        return ErrorFileNotFound;
    };
    platform::provideSerialComm(platform, handles, deviceNodeForPort);
    platform->CreateFileW.wrap(
        [program, store, busy = BusyLine(paths, helper, notices)](
            const auto &next, const WCHAR *lpFileName, auto... arguments) -> HANDLE {
            const HANDLE port = next(lpFileName, arguments...);
            if (port != invalidHandle() || lastError() != ErrorAccessDenied)
                return port;
            const QString node = phoneNode(fromWide(lpFileName), program, store.get());
            if (!node.isEmpty() && busy.isFreed(node))
                return next(lpFileName, arguments...);
            setLastError(ErrorAccessDenied);
            return invalidHandle();
        });
}

} // namespace platform::linuxsystem
