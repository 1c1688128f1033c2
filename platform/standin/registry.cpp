#include "platform/standin/deviceinstallation.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <cstring>

namespace platform {

namespace {

constexpr DWORD KeyWriteAccess = 0x2; // KEY_SET_VALUE

/// A driver key, opened or created.
struct OpenKey {
    QString instanceId;
    bool isWritable = false;
};

class RegistryFunctions
{
public:
    RegistryFunctions(const std::shared_ptr<Machine> &machine,
                      const std::shared_ptr<DeviceSets> &sets)
        : m_machine(machine), m_sets(sets)
    {
    }

    HKEY SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Scope,
                              DWORD HwProfile, DWORD KeyType, DWORD samDesired)
    {
        const char *operation = "SetupDiOpenDevRegKey";
        const auto member = rootDeviceOf(operation, *m_sets, DeviceInfoSet, deviceInfoData);
        if (!member || !isGlobalDriverKey(operation, Scope, HwProfile, KeyType))
            return invalidHandle();
        return openKey(*member, (samDesired & KeyWriteAccess) != 0, [](RootDevice *device) {
            return device->hasDriverKey ? Success : ErrorKeyDoesNotExist;
        });
    }

    HKEY SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                 DWORD Scope, DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                 const WCHAR *InfSectionName)
    {
        const char *operation = "SetupDiCreateDevRegKeyW";
        const auto member = rootDeviceOf(operation, *m_sets, DeviceInfoSet, deviceInfoData);
        if (!member || !isGlobalDriverKey(operation, Scope, HwProfile, KeyType))
            return invalidHandle();
        if (InfHandle || InfSectionName) {
            failUnsupported(operation, "keys filled from an INF");
            return invalidHandle();
        }
        return openKey(*member, true, [](RootDevice *device) {
            device->hasDriverKey = true;
            return Success;
        });
    }

    LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                        const BYTE *lpData, DWORD cbData)
    {
        const auto key = m_keys.find(hKey);
        if (!key)
            return ErrorInvalidHandle;
        if (Reserved != 0 || (!lpData && cbData != 0))
            return ErrorInvalidParameter;
        // What is kept is text: half a unit has no place in it.
        if (dwType != RegistryString || cbData % sizeof(WCHAR) != 0) {
            failUnsupported("RegSetValueExW", "values other than texts");
            return ErrorNotSupported;
        }
        if (!key->isWritable)
            return ErrorAccessDenied;
        QString text(static_cast<int>(cbData / sizeof(WCHAR)), Qt::Uninitialized);
        if (cbData != 0)
            std::memcpy(text.data(), lpData, cbData);
        // The byte count includes the terminator, which is no part of the text.
        if (text.endsWith(QChar(0)))
            text.chop(1);
        const QString name = lpValueName ? fromWide(lpValueName) : QString();
        return static_cast<LONG>(m_machine->changeDevices([&](DeviceList *list) -> DWORD {
            RootDevice *device = list->find(key->instanceId);
            // A handle may outlive its device; it is then good for nothing.
            if (!device || !device->hasDriverKey)
                return ErrorKeyDeleted;
            device->driverKey[name] = text;
            return Success;
        }));
    }

    LONG RegCloseKey(HKEY hKey) { return m_keys.remove(hKey) ? Success : ErrorInvalidHandle; }

private:
    static bool isGlobalDriverKey(const char *operation, DWORD scope, DWORD profile, DWORD type)
    {
        if (scope == ScopeGlobal && profile == 0 && type == DriverKey)
            return true;
        failUnsupported(operation, "keys other than the global driver key");
        return false;
    }

    /// Opens the key of a device that the function answers Success for. The
    /// right to write is asked for before the key is looked up.
    HKEY openKey(const SetMember &member, bool isWritable,
                 const std::function<DWORD(RootDevice *)> &function)
    {
        const auto onDevice = [&](DeviceList *list) -> DWORD {
            RootDevice *device = list->find(member.device.instanceId);
            return device ? function(device) : ErrorNoSuchDevInst;
        };
        DWORD code = Success;
        DeviceList list;
        // Keys hang below a registered device.
        if (member.kind != SetMember::Kind::Registered)
            code = ErrorNotRegistered;
        else if (isWritable)
            code = m_machine->changeDevices(onDevice);
        else if ((code = m_machine->readDevices(&list)) == Success)
            code = onDevice(&list);
        if (code != Success) {
            setLastError(code);
            return invalidHandle();
        }
        return m_keys.add(std::make_shared<OpenKey>(OpenKey{member.device.instanceId, isWritable}));
    }

    const std::shared_ptr<Machine> m_machine;
    const std::shared_ptr<DeviceSets> m_sets;
    HandleTable<OpenKey> m_keys;
};

} // namespace

void provideRegistry(Platform *platform, const std::shared_ptr<Machine> &machine,
                     const std::shared_ptr<DeviceSets> &sets)
{
    using F = RegistryFunctions;
    const auto functions = std::make_shared<F>(machine, sets);
    platform->SetupDiOpenDevRegKey.provide(functions, &F::SetupDiOpenDevRegKey);
    platform->SetupDiCreateDevRegKeyW.provide(functions, &F::SetupDiCreateDevRegKeyW);
    platform->RegSetValueExW.provide(functions, &F::RegSetValueExW);
    platform->RegCloseKey.provide(functions, &F::RegCloseKey);
}

} // namespace platform
