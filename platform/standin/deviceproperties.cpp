#include "platform/standin/deviceinstallation.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/textbuffer.h"

#include <cstring>

namespace platform {

namespace {

constexpr DWORD RegistryMultiString = 7; // REG_MULTI_SZ

class PropertyFunctions
{
public:
    PropertyFunctions(const std::shared_ptr<Machine> &machine,
                      const std::shared_ptr<DeviceSets> &sets)
        : m_machine(machine), m_sets(sets)
    {
    }

    BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, DWORD *PropertyRegDataType,
                                           BYTE *PropertyBuffer, DWORD PropertyBufferSize,
                                           DWORD *RequiredSize)
    {
        const auto member = memberOf(*m_sets, DeviceInfoSet, deviceInfoData);
        if (!member)
            return 0;
        if (Property != PropertyFriendlyName && Property != PropertyHardwareId)
            return failUnsupported("SetupDiGetDeviceRegistryPropertyW", "this property");
        RootDevice device;
        const DWORD code = asItIsNow(*member, &device);
        if (code != Success)
            return fail(code);

        DWORD type = RegistryString;
        QByteArray value;
        if (Property == PropertyHardwareId) {
            type = RegistryMultiString;
            if (!device.hardwareIds.isEmpty())
                value = multiStringBytes(device.hardwareIds);
        } else if (!device.friendlyName.isEmpty()) {
            value = textBytes(device.friendlyName);
        }
        // A property that was never set differs from an empty one.
        if (value.isEmpty())
            return fail(ErrorInvalidData);

        const auto required = static_cast<DWORD>(value.size());
        if (PropertyRegDataType)
            *PropertyRegDataType = type;
        if (RequiredSize)
            *RequiredSize = required;
        if (!PropertyBuffer || PropertyBufferSize < required)
            return fail(ErrorInsufficientBuffer);
        std::memcpy(PropertyBuffer, value.constData(), required);
        return 1;
    }

    BOOL SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, const BYTE *PropertyBuffer,
                                           DWORD PropertyBufferSize)
    {
        const char *operation = "SetupDiSetDeviceRegistryPropertyW";
        const auto member = rootDeviceOf(operation, *m_sets, DeviceInfoSet, deviceInfoData);
        if (!member)
            return 0;
        if (Property != PropertyHardwareId)
            return failUnsupported(operation, "this property");
        const auto ids = multiStringFromBytes(PropertyBuffer, PropertyBufferSize);
        if (!ids)
            return fail(ErrorInvalidData);
        // The caller may always change a device that is not registered yet.
        if (member->kind != SetMember::Kind::Registered) {
            member->device.hardwareIds = *ids;
            return 1;
        }
        const DWORD code = m_machine->changeDevices([&](DeviceList *list) -> DWORD {
            RootDevice *device = list->find(member->device.instanceId);
            if (!device)
                return ErrorNoSuchDevInst;
            device->hardwareIds = *ids;
            return Success;
        });
        return code == Success ? 1 : fail(code);
    }

private:
    DWORD asItIsNow(const SetMember &member, RootDevice *device) const
    {
        *device = member.device;
        if (member.kind != SetMember::Kind::Registered)
            return Success;
        DeviceList list;
        const DWORD code = m_machine->readDevices(&list);
        if (code != Success)
            return code;
        const RootDevice *kept = list.find(member.device.instanceId);
        if (!kept)
            return ErrorNoSuchDevInst;
        *device = *kept;
        return Success;
    }

    const std::shared_ptr<Machine> m_machine;
    const std::shared_ptr<DeviceSets> m_sets;
};

} // namespace

void provideDeviceProperties(Platform *platform, const std::shared_ptr<Machine> &machine,
                             const std::shared_ptr<DeviceSets> &sets)
{
    using F = PropertyFunctions;
    const auto functions = std::make_shared<F>(machine, sets);
    platform->SetupDiGetDeviceRegistryPropertyW.provide(functions,
                                                        &F::SetupDiGetDeviceRegistryPropertyW);
    platform->SetupDiSetDeviceRegistryPropertyW.provide(functions,
                                                        &F::SetupDiSetDeviceRegistryPropertyW);
}

} // namespace platform
