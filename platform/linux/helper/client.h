#pragma once

#include "platform/linux/helper/protocol.h"
#include "platform/linux/systempaths.h"

#include <QStringList>

#include <memory>
#include <mutex>

namespace platform::linuxsystem {

class HelperProcess;

/// The window's side: has the helper do what this process may not. The helper
/// for the set-up lives as long as this object, or until it was idle for some
/// minutes, so that the password is asked for once; every other one serves one
/// request. Any thread; one request at a time.
class HelperClient
{
public:
    explicit HelperClient(const SystemPaths &paths);
    ~HelperClient();
    HelperClient(const HelperClient &) = delete;
    HelperClient &operator=(const HelperClient &) = delete;

    /// Whether this process needs the helper: it has no administrator rights.
    bool isNeeded() const;

    /// Gets the rights for the set-up, if need be by asking for a password, which
    /// takes as long as a person needs. Success, 5 when they are refused or others
    /// than root can change the helper, 1223 when the question was dismissed.
    DWORD openSetUp();

    /// The code with which a request ended; those of openSetUp() when the rights
    /// are not there, 31 when the helper ended without an answer. The whole reply
    /// goes into *reply.
    DWORD ask(Role role, const QJsonObject &request, QJsonObject *reply = nullptr);

private:
    DWORD openSetUpLocked();

    const SystemPaths m_paths;
    std::mutex m_mutex;
    std::unique_ptr<HelperProcess> m_setUp;
};

/// The command that starts a helper with its rights. Empty, and said on standard
/// error, when pkexec would have to ask for them and others than root can change
/// the helper: the password would give root's rights to whatever stands there.
QStringList helperCommand(const SystemPaths &paths, Role role);

/// Why a helper that never was ready has ended: the exit status of pkexec(1) as
/// 5 or 1223.
DWORD refusalOf(int exitStatus);

} // namespace platform::linuxsystem
