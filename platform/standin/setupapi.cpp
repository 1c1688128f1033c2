#include "platform/standin/deviceinstallation.h"

#include "platform/platform.h"
#include "platform/standin/guid.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/textbuffer.h"
#include "platform/text.h"

#include <algorithm>

namespace platform {

namespace {

constexpr int LongestInstanceId = 200;    // MAX_DEVICE_ID_LEN
constexpr DEVINST FirstPortNode = 0x1000; // nodes of ports follow their numbers

/// Ports come and go: a set keeps what was there when it was made.
SetMember portMember(const PortDevice &port)
{
    SetMember member;
    member.kind = SetMember::Kind::Port;
    member.classGuid = PortsClassGuid;
    member.device.devInst = FirstPortNode + static_cast<DEVINST>(port.number);
    member.device.instanceId = port.instanceId;
    member.device.className = "Ports";
    member.device.hardwareIds = port.hardwareIds;
    member.device.friendlyName = port.friendlyName;
    return member;
}

class SetFunctions
{
public:
    SetFunctions(const std::shared_ptr<Machine> &machine, const std::shared_ptr<DeviceSets> &sets)
        : m_machine(machine), m_sets(sets)
    {
    }

    HDEVINFO SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator, HWND, DWORD Flags)
    {
        if (Enumerator || Flags != GetPresentDevices) {
            failUnsupported("SetupDiGetClassDevsW", "anything but the present devices of a class");
            return invalidHandle();
        }
        if (!ClassGuid)
            return failedSet(ErrorInvalidParameter);
        QList<PortDevice> ports;
        DeviceList list;
        DWORD code = Success;
        if (*ClassGuid == PortsClassGuid)
            code = m_machine->presentPorts(&ports);
        if (code == Success)
            code = m_machine->readDevices(&list);
        if (code != Success)
            return failedSet(code);

        auto set = std::make_shared<DeviceSet>(*ClassGuid);
        for (const PortDevice &port : std::as_const(ports))
            set->add(portMember(port));
        // Registered devices have no hardware behind them that could be missing,
        // so they are always present.
        const QString wanted = guidText(*ClassGuid);
        for (const RootDevice &device : std::as_const(list.devices)) {
            if (device.classGuid != wanted)
                continue;
            SetMember member;
            member.kind = SetMember::Kind::Registered;
            member.classGuid = *ClassGuid;
            member.device = device;
            set->add(member);
        }
        return m_sets->add(std::move(set));
    }

    HDEVINFO SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND)
    {
        std::optional<Guid> guid;
        if (ClassGuid)
            guid = *ClassGuid;
        return m_sets->add(std::make_shared<DeviceSet>(guid));
    }

    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
    {
        return m_sets->remove(DeviceInfoSet) ? 1 : fail(ErrorInvalidHandle);
    }

    BOOL SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                               DeviceInfoData *deviceInfoData)
    {
        const auto set = m_sets->find(DeviceInfoSet);
        if (!set)
            return fail(ErrorInvalidHandle);
        if (!deviceInfoData || deviceInfoData->cbSize != sizeof *deviceInfoData)
            return fail(ErrorInvalidUserBuffer);
        DWORD index = 0;
        for (const SetMember &member : set->members) {
            // Indices close up over removed devices.
            if (member.kind == SetMember::Kind::Removed || index++ != MemberIndex)
                continue;
            *deviceInfoData = recordOf(member);
            return 1;
        }
        return fail(ErrorNoMoreItems);
    }

    BOOL SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                  const Guid *ClassGuid, const WCHAR *DeviceDescription, HWND,
                                  DWORD CreationFlags, DeviceInfoData *deviceInfoData)
    {
        const auto set = m_sets->find(DeviceInfoSet);
        if (!set)
            return fail(ErrorInvalidHandle);
        if (!ClassGuid)
            return fail(ErrorInvalidParameter);
        if (deviceInfoData && deviceInfoData->cbSize != sizeof *deviceInfoData)
            return fail(ErrorInvalidUserBuffer);
        if (CreationFlags != GenerateDeviceId || DeviceDescription)
            return failUnsupported("SetupDiCreateDeviceInfoW",
                                   "ids and descriptions of the caller's");
        // A set made for one class holds no other.
        if (set->classGuid && !(*set->classGuid == *ClassGuid))
            return fail(ErrorClassMismatch);
        const QString name = DeviceName ? fromWide(DeviceName) : QString();
        if (name.isEmpty() || name.contains('\\') || name.size() > LongestInstanceId - 10)
            return fail(ErrorInvalidDevInstName);

        SetMember member;
        member.classGuid = *ClassGuid;
        member.device.className = name;
        member.device.classGuid = guidText(*ClassGuid);
        const DWORD code = m_machine->changeDevices([&](DeviceList *list) {
            QList<RootDevice> taken = list->devices;
            for (const SetMember &other : set->members)
                taken += other.device;
            member.device.instanceId = newInstanceId(taken, name);
            // The node's number is used up even when the device is never
            // registered, so that no stale record can mean a later device.
            member.device.devInst = list->nextDevInst++;
            return Success;
        });
        if (code != Success)
            return fail(code);
        const SetMember &added = set->add(member);
        if (deviceInfoData)
            *deviceInfoData = recordOf(added);
        return 1;
    }

    BOOL SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                     WCHAR *DeviceInstanceId, DWORD DeviceInstanceIdSize,
                                     DWORD *RequiredSize)
    {
        const auto member = memberOf(*m_sets, DeviceInfoSet, deviceInfoData);
        if (!member)
            return 0;
        return giveText(member->device.instanceId, DeviceInstanceId, DeviceInstanceIdSize,
                        RequiredSize);
    }

    BOOL SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DWORD Flags, void *CompareProc, void *CompareContext,
                                   DeviceInfoData *DupDeviceInfoData)
    {
        const char *operation = "SetupDiRegisterDeviceInfo";
        const auto member = rootDeviceOf(operation, *m_sets, DeviceInfoSet, deviceInfoData);
        if (!member)
            return 0;
        if (Flags != 0 || CompareProc || CompareContext || DupDeviceInfoData)
            return failUnsupported(operation, "the search for duplicates");
        const DWORD code = m_machine->changeDevices([&member](DeviceList *list) -> DWORD {
            RootDevice &device = member->device;
            const bool isKnown = list->find(device.instanceId) != nullptr;
            // Registering again is allowed and changes nothing.
            if (member->kind == SetMember::Kind::Registered)
                return isKnown ? Success : ErrorNoSuchDevInst;
            // The id was generated, not the caller's wish: when another program
            // took it meanwhile, the next one is as good.
            if (isKnown)
                device.instanceId = newInstanceId(list->devices, device.className);
            list->devices += device;
            return Success;
        });
        if (code != Success)
            return fail(code);
        member->kind = SetMember::Kind::Registered;
        return 1;
    }

    BOOL SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                   DeviceInfoData *deviceInfoData)
    {
        const char *operation = "SetupDiCallClassInstaller";
        const auto member = rootDeviceOf(operation, *m_sets, DeviceInfoSet, deviceInfoData);
        if (!member)
            return 0;
        if (InstallFunction != FunctionRemove)
            return failUnsupported(operation, "functions other than DIF_REMOVE");
        if (member->kind == SetMember::Kind::Registered) {
            const DWORD code = m_machine->changeDevices([&member](DeviceList *list) {
                if (const RootDevice *device = list->find(member->device.instanceId))
                    list->devices.removeOne(*device);
                return Success;
            });
            if (code != Success)
                return fail(code);
        }
        // The member stays in its place: other records of the set remain valid.
        member->kind = SetMember::Kind::Removed;
        return 1;
    }

    BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DriverInfoData *driverInfoData)
    {
        if (!memberOf(*m_sets, DeviceInfoSet, deviceInfoData))
            return 0;
        if (!driverInfoData)
            return fail(ErrorInvalidParameter);
        if (driverInfoData->cbSize != sizeof *driverInfoData)
            return fail(ErrorInvalidUserBuffer);
        // A driver is selected from a list, and nobody can build one here.
        return fail(ErrorNoDriverSelected);
    }

private:
    static HDEVINFO failedSet(DWORD code)
    {
        setLastError(code);
        return invalidHandle();
    }

    const std::shared_ptr<Machine> m_machine;
    const std::shared_ptr<DeviceSets> m_sets;
};

} // namespace

void provideSetupApi(Platform *platform, const std::shared_ptr<Machine> &machine,
                     const std::shared_ptr<DeviceSets> &sets)
{
    using F = SetFunctions;
    const auto functions = std::make_shared<F>(machine, sets);
    platform->SetupDiGetClassDevsW.provide(functions, &F::SetupDiGetClassDevsW);
    platform->SetupDiCreateDeviceInfoList.provide(functions, &F::SetupDiCreateDeviceInfoList);
    platform->SetupDiDestroyDeviceInfoList.provide(functions, &F::SetupDiDestroyDeviceInfoList);
    platform->SetupDiEnumDeviceInfo.provide(functions, &F::SetupDiEnumDeviceInfo);
    platform->SetupDiCreateDeviceInfoW.provide(functions, &F::SetupDiCreateDeviceInfoW);
    platform->SetupDiGetDeviceInstanceIdW.provide(functions, &F::SetupDiGetDeviceInstanceIdW);
    platform->SetupDiRegisterDeviceInfo.provide(functions, &F::SetupDiRegisterDeviceInfo);
    platform->SetupDiCallClassInstaller.provide(functions, &F::SetupDiCallClassInstaller);
    platform->SetupDiGetSelectedDriverW.provide(functions, &F::SetupDiGetSelectedDriverW);
}

} // namespace platform
