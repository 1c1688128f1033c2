#pragma once

#include "platform/setupapi.h"
#include "platform/standin/devices.h"
#include "platform/standin/handletable.h"

#include <deque>
#include <memory>
#include <optional>

namespace platform {

/// One device as a device information set holds it.
struct SetMember {
    enum class Kind {
        Port,       ///< its bus made it; nobody can change it
        New,        ///< known to this set only
        Registered, ///< the machine keeps it, under its instance id
        Removed,    ///< by FunctionRemove: no longer enumerated
    };
    Kind kind = Kind::New;
    ULONG_PTR key = 0; ///< DeviceInfoData::Reserved: tells members of a set apart
    Guid classGuid = {};
    /// Of a registered device only the ids are looked at here: the rest is as
    /// the machine keeps it.
    RootDevice device;
};

/// A device information set. Used by one thread at a time.
class DeviceSet
{
public:
    explicit DeviceSet(const std::optional<Guid> &guid) : classGuid(guid) {}

    /// Adds a member, which keeps its address for the set's life.
    SetMember &add(const SetMember &member)
    {
        members.push_back(member);
        members.back().key = members.size();
        return members.back();
    }

    const std::optional<Guid> classGuid; ///< none: devices of any class
    std::deque<SetMember> members;
};

using DeviceSets = HandleTable<DeviceSet>;

/// What the caller sees of a member.
DeviceInfoData recordOf(const SetMember &member);

/// The member that a record stands for, which keeps its set alive; null with
/// the last error set: 6 for no set, 1784 for a record of another size,
/// 0xE000020B for one of another set or of a removed device.
std::shared_ptr<SetMember> memberOf(const DeviceSets &sets, HDEVINFO set,
                                    const DeviceInfoData *data);

/// The same for a root-enumerated device; 50 for a port.
std::shared_ptr<SetMember> rootDeviceOf(const char *operation, const DeviceSets &sets, HDEVINFO set,
                                        const DeviceInfoData *data);

} // namespace platform
