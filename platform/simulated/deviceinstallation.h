#pragma once

#include "platform/registry.h"
#include "platform/setupapi.h"
#include "platform/standin/handletable.h"

#include <QString>

namespace platform::simulated {

class DeviceInfoSet;
class OpenKey;

/// Devices, their keys and their drivers, over the state directory.
class DeviceInstallation
{
public:
    explicit DeviceInstallation(const QString &directory);
    ~DeviceInstallation();

    LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                        const BYTE *lpData, DWORD cbData);
    LONG RegCloseKey(HKEY hKey);
    BOOL SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *OEMSourceMediaLocation,
                          DWORD OEMSourceMediaType, DWORD CopyStyle, WCHAR *DestinationInfFileName,
                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                          WCHAR **DestinationInfFileNameComponent);
    BOOL SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                             DWORD ClassNameSize, DWORD *RequiredSize);
    HDEVINFO SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator, HWND hwndParent,
                                  DWORD Flags);
    HDEVINFO SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent);
    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet);
    BOOL SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                               DeviceInfoData *deviceInfoData);
    BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, DWORD *PropertyRegDataType,
                                           BYTE *PropertyBuffer, DWORD PropertyBufferSize,
                                           DWORD *RequiredSize);
    BOOL SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, const BYTE *PropertyBuffer,
                                           DWORD PropertyBufferSize);
    BOOL SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                  const Guid *ClassGuid, const WCHAR *DeviceDescription,
                                  HWND hwndParent, DWORD CreationFlags,
                                  DeviceInfoData *deviceInfoData);
    BOOL SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                     WCHAR *DeviceInstanceId, DWORD DeviceInstanceIdSize,
                                     DWORD *RequiredSize);
    BOOL SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DWORD Flags, void *CompareProc, void *CompareContext,
                                   DeviceInfoData *DupDeviceInfoData);
    BOOL SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                   DeviceInfoData *deviceInfoData);
    HKEY SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Scope,
                              DWORD HwProfile, DWORD KeyType, DWORD samDesired);
    HKEY SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                 DWORD Scope, DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                 const WCHAR *InfSectionName);
    BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DriverInfoData *driverInfoData);
    BOOL updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, DWORD flags,
                      BOOL *rebootRequired);

private:
    HKEY openKey(HDEVINFO set, DeviceInfoData *data, DWORD scope, DWORD profile, DWORD type,
                 bool create);

    const QString m_directory;
    HandleTable<DeviceInfoSet> m_deviceSets;
    HandleTable<OpenKey> m_keys;
};

} // namespace platform::simulated
