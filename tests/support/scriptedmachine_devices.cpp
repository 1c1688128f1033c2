#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/support/scriptedmachine.h"

#include <algorithm>
#include <cstring>

using namespace platform;

void ScriptedMachine::provideDeviceInstallation()
{
    SetupCopyOEMInfW = [this](const WCHAR *SourceInfFileName, const WCHAR *, DWORD, DWORD, WCHAR *,
                              DWORD, DWORD *, WCHAR **) -> BOOL {
        copiedInf = fromWide(SourceInfFileName);
        return 1;
    };

    SetupDiGetINFClassW = [this](const WCHAR *, Guid *ClassGuid, WCHAR *ClassName,
                                 DWORD ClassNameSize, DWORD *) -> BOOL {
        if (infClass.size() >= int(MaxClassNameSize))
            return fail(ErrorInvalidClass);
        *ClassGuid = {0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
        copyToBuffer(infClass, ClassName, static_cast<int>(ClassNameSize));
        return 1;
    };

    SetupDiGetClassDevsW = [this](const Guid *ClassGuid, const WCHAR *, HWND, DWORD) -> HDEVINFO {
        if (!(*ClassGuid == PortsClassGuid)) {
            setLastError(ErrorInvalidParameter);
            return invalidHandle();
        }
        return open(Kind::DeviceSet);
    };

    SetupDiCreateDeviceInfoList = [this](const Guid *, HWND) -> HDEVINFO {
        return open(Kind::DeviceSet);
    };

    SetupDiDestroyDeviceInfoList = [this](HDEVINFO DeviceInfoSet) -> BOOL {
        return close(DeviceInfoSet, Kind::DeviceSet);
    };

    SetupDiEnumDeviceInfo = [this](HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                   DeviceInfoData *deviceInfoData) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        if (deviceInfoData->cbSize != sizeof(DeviceInfoData))
            return fail(ErrorInvalidParameter);
        if (MemberIndex >= static_cast<DWORD>(ports.size()))
            return fail(enumerationEnd);
        deviceInfoData->DevInst = MemberIndex + 1;
        return 1;
    };

    SetupDiGetDeviceRegistryPropertyW =
        [this](HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD,
               DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize,
               DWORD *RequiredSize) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        const Port &port = ports.at(static_cast<int>(deviceInfoData->DevInst) - 1);
        if (!port.readable)
            return fail(ErrorInvalidData);
        const DWORD needed = (static_cast<DWORD>(port.name.size()) + 1) * 2;
        *PropertyRegDataType = RegistryString;
        *RequiredSize = needed;
        if (!PropertyBuffer || PropertyBufferSize < needed)
            return fail(ErrorInsufficientBuffer);
        std::memcpy(PropertyBuffer, port.name.utf16(), needed);
        return 1;
    };

    SetupDiSetDeviceRegistryPropertyW = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD,
                                               const BYTE *PropertyBuffer,
                                               DWORD PropertyBufferSize) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        hardwareId = QByteArray(reinterpret_cast<const char *>(PropertyBuffer),
                                static_cast<int>(PropertyBufferSize));
        return 1;
    };

    SetupDiCreateDeviceInfoW = [this](HDEVINFO DeviceInfoSet, const WCHAR *, const Guid *,
                                      const WCHAR *, HWND, DWORD,
                                      DeviceInfoData *deviceInfoData) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        if (deviceInfoData->cbSize != sizeof(DeviceInfoData))
            return fail(ErrorInvalidParameter);
        return 1;
    };

    SetupDiGetDeviceInstanceIdW = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *,
                                         WCHAR *DeviceInstanceId, DWORD DeviceInstanceIdSize,
                                         DWORD *RequiredSize) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        const DWORD needed =
            std::max(instanceIdRequired, static_cast<DWORD>(generatedId.size()) + 1);
        *RequiredSize = needed;
        if (DeviceInstanceIdSize < needed)
            return fail(ErrorInsufficientBuffer);
        copyToBuffer(generatedId, DeviceInstanceId, static_cast<int>(DeviceInstanceIdSize));
        return 1;
    };

    SetupDiRegisterDeviceInfo = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD, void *,
                                       void *, DeviceInfoData *) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        ++registrations;
        return 1;
    };

    SetupDiCallClassInstaller = [this](UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                       DeviceInfoData *) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        if (InstallFunction == FunctionRemove)
            ++removals;
        return 1;
    };

    SetupDiOpenDevRegKey = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD, DWORD, DWORD,
                                  DWORD) -> HKEY {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return invalidHandle();
        if (driverKeyExists)
            return open(Kind::Key);
        setLastError(ErrorKeyDoesNotExist);
        return invalidHandle();
    };

    SetupDiCreateDevRegKeyW = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD, DWORD, DWORD,
                                     void *, const WCHAR *) -> HKEY {
        return isOpen(DeviceInfoSet, Kind::DeviceSet) ? open(Kind::Key) : invalidHandle();
    };

    SetupDiGetSelectedDriverW = [this](HDEVINFO DeviceInfoSet, DeviceInfoData *,
                                       DriverInfoData *driverInfoData) -> BOOL {
        if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
            return 0;
        selectedDriverSize = driverInfoData->cbSize;
        return selectedDriver ? 1 : fail(ErrorInvalidParameter);
    };
}

void ScriptedMachine::provideRegistry()
{
    RegSetValueExW = [this](HKEY hKey, const WCHAR *lpValueName, DWORD, DWORD dwType,
                            const BYTE *lpData, DWORD cbData) -> LONG {
        if (!isOpen(hKey, Kind::Key))
            return static_cast<LONG>(ErrorInvalidHandle);
        registryWrites.append(
            {fromWide(lpValueName), dwType,
             QByteArray(reinterpret_cast<const char *>(lpData), static_cast<int>(cbData))});
        return 0;
    };

    RegCloseKey = [this](HKEY hKey) -> LONG {
        return close(hKey, Kind::Key) ? 0 : static_cast<LONG>(ErrorInvalidHandle);
    };
}
