#include "platform/standin/deviceset.h"

#include "platform/standin/lasterror.h"

namespace platform {

DeviceInfoData recordOf(const SetMember &member)
{
    DeviceInfoData data = {};
    data.cbSize = sizeof data;
    data.ClassGuid = member.classGuid;
    data.DevInst = member.device.devInst;
    // The field belongs to the system, so it can carry the key that finds the
    // member again.
    data.Reserved = member.key;
    return data;
}

std::shared_ptr<SetMember> memberOf(const DeviceSets &sets, HDEVINFO set,
                                    const DeviceInfoData *data)
{
    const std::shared_ptr<DeviceSet> found = sets.find(set);
    if (!found) {
        setLastError(ErrorInvalidHandle);
        return nullptr;
    }
    if (!data || data->cbSize != sizeof *data) {
        setLastError(ErrorInvalidUserBuffer);
        return nullptr;
    }
    for (SetMember &member : found->members) {
        if (member.key == data->Reserved && member.device.devInst == data->DevInst &&
            member.kind != SetMember::Kind::Removed)
            return {found, &member};
    }
    setLastError(ErrorNoSuchDevInst);
    return nullptr;
}

std::shared_ptr<SetMember> rootDeviceOf(const char *operation, const DeviceSets &sets, HDEVINFO set,
                                        const DeviceInfoData *data)
{
    std::shared_ptr<SetMember> member = memberOf(sets, set, data);
    if (member && member->kind == SetMember::Kind::Port) {
        failUnsupported(operation, "changing a port");
        return nullptr;
    }
    return member;
}

} // namespace platform
