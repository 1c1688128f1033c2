#pragma once

#include "platform/linux/entries.h"
#include "platform/linux/helper/protocol.h"
#include "platform/linux/systempaths.h"

#include <QJsonObject>

#include <chrono>
#include <memory>

namespace platform::linuxsystem {

/// How long a helper waits for its next request before it ends, so that rights
/// once given do not last for ever: as long as polkit itself would keep them.
/// Milliseconds.
inline constexpr int IdlePatience = 5 * 60 * 1000;

/// Serves one role's requests until the other side is gone or silent, one after
/// the other; a dial is the last one. The paths name the user who asks. Whatever
/// a request says is checked; what is not as helper/requests.cpp makes it ends in
/// 87, what the role or the user may not in 5. Returns the helper's exit status.
int serve(const SystemPaths &paths, const Program &program, Role role, int input, int output,
          int idlePatience = IdlePatience);

/// What the helper does on request, all but the dial itself. One thread.
class Service
{
public:
    /// The patience is for others who change the state store.
    Service(const SystemPaths &paths, const Program &program, Role role,
            std::chrono::milliseconds patience = StorePatience);

    /// Does what a request asks for; the code with which that ended. What else is
    /// to be told goes into *more.
    DWORD answer(const QJsonObject &request, QJsonObject *more = nullptr);

    /// A dial that was found good.
    struct Dial {
        QString peer;
        QString device;
        QString number;
    };
    /// Whether to dial. Success, 5 for another user's entry, 87, 623, 633 or 692.
    DWORD checkDial(const QJsonObject &request, Dial *dial) const;

    static bool isDial(const QJsonObject &request);

private:
    struct Known;
    static const Known requests[];

    DWORD installDriver(const QJsonObject &request);
    DWORD rescan(const QJsonObject &request);
    DWORD storeInf(const QJsonObject &request);
    DWORD changeDevices(const QJsonObject &request);
    DWORD putStateAside(const QJsonObject &request);
    DWORD writeEntry(const QJsonObject &request);
    DWORD hangUp(const QJsonObject &request);
    DWORD freeLine(const QJsonObject &request);
    DWORD signIn(const QJsonObject &request);

    const SystemPaths m_paths;
    const Program m_program;
    const Role m_role;
    const std::shared_ptr<StateStore> m_store;
    const DialUpEntries m_entries;
    QJsonObject m_more; ///< what the last answer tells besides its code
};

} // namespace platform::linuxsystem
