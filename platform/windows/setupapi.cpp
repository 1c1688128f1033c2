#include "platform/windows/windowsplatform.h"

#include <windows.h>

#include <setupapi.h>

namespace platform {

BOOL WindowsPlatform::SetupCopyOEMInfW(const WCHAR *SourceInfFileName,
                                       const WCHAR *OEMSourceMediaLocation,
                                       DWORD OEMSourceMediaType, DWORD CopyStyle,
                                       WCHAR *DestinationInfFileName,
                                       DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                       WCHAR **DestinationInfFileNameComponent)
{
    return ::SetupCopyOEMInfW(SourceInfFileName, OEMSourceMediaLocation, OEMSourceMediaType,
                              CopyStyle, DestinationInfFileName, DestinationInfFileNameSize,
                              reinterpret_cast<LPDWORD>(RequiredSize),
                              DestinationInfFileNameComponent);
}

BOOL WindowsPlatform::SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                                          DWORD ClassNameSize, DWORD *RequiredSize)
{
    return ::SetupDiGetINFClassW(InfName, reinterpret_cast<LPGUID>(ClassGuid), ClassName,
                                 ClassNameSize, reinterpret_cast<LPDWORD>(RequiredSize));
}

HDEVINFO WindowsPlatform::SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator,
                                               HWND hwndParent, DWORD Flags)
{
    return ::SetupDiGetClassDevsW(reinterpret_cast<const GUID *>(ClassGuid), Enumerator,
                                  static_cast<::HWND>(hwndParent), Flags);
}

HDEVINFO WindowsPlatform::SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent)
{
    return ::SetupDiCreateDeviceInfoList(reinterpret_cast<const GUID *>(ClassGuid),
                                         static_cast<::HWND>(hwndParent));
}

BOOL WindowsPlatform::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return ::SetupDiDestroyDeviceInfoList(DeviceInfoSet);
}

BOOL WindowsPlatform::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                            DeviceInfoData *deviceInfoData)
{
    return ::SetupDiEnumDeviceInfo(DeviceInfoSet, MemberIndex,
                                   reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData));
}

BOOL WindowsPlatform::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
    DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    return ::SetupDiGetDeviceRegistryPropertyW(
        DeviceInfoSet, reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData), Property,
        reinterpret_cast<LPDWORD>(PropertyRegDataType), PropertyBuffer, PropertyBufferSize,
        reinterpret_cast<LPDWORD>(RequiredSize));
}

BOOL WindowsPlatform::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                        DeviceInfoData *deviceInfoData,
                                                        DWORD Property, const BYTE *PropertyBuffer,
                                                        DWORD PropertyBufferSize)
{
    return ::SetupDiSetDeviceRegistryPropertyW(DeviceInfoSet,
                                               reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData),
                                               Property, PropertyBuffer, PropertyBufferSize);
}

BOOL WindowsPlatform::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                               const Guid *ClassGuid,
                                               const WCHAR *DeviceDescription, HWND hwndParent,
                                               DWORD CreationFlags, DeviceInfoData *deviceInfoData)
{
    return ::SetupDiCreateDeviceInfoW(DeviceInfoSet, DeviceName,
                                      reinterpret_cast<const GUID *>(ClassGuid), DeviceDescription,
                                      static_cast<::HWND>(hwndParent), CreationFlags,
                                      reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData));
}

BOOL WindowsPlatform::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet,
                                                  DeviceInfoData *deviceInfoData,
                                                  WCHAR *DeviceInstanceId,
                                                  DWORD DeviceInstanceIdSize, DWORD *RequiredSize)
{
    return ::SetupDiGetDeviceInstanceIdW(
        DeviceInfoSet, reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData), DeviceInstanceId,
        DeviceInstanceIdSize, reinterpret_cast<LPDWORD>(RequiredSize));
}

BOOL WindowsPlatform::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet,
                                                DeviceInfoData *deviceInfoData, DWORD Flags,
                                                void *CompareProc, void *CompareContext,
                                                DeviceInfoData *DupDeviceInfoData)
{
    return ::SetupDiRegisterDeviceInfo(
        DeviceInfoSet, reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData), Flags,
        reinterpret_cast<PSP_DETSIG_CMPPROC>(CompareProc), CompareContext,
        reinterpret_cast<PSP_DEVINFO_DATA>(DupDeviceInfoData));
}

BOOL WindowsPlatform::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                DeviceInfoData *deviceInfoData)
{
    return ::SetupDiCallClassInstaller(InstallFunction, DeviceInfoSet,
                                       reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData));
}

HKEY WindowsPlatform::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Scope, DWORD HwProfile, DWORD KeyType,
                                           DWORD samDesired)
{
    return ::SetupDiOpenDevRegKey(DeviceInfoSet, reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData),
                                  Scope, HwProfile, KeyType, samDesired);
}

HKEY WindowsPlatform::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet,
                                              DeviceInfoData *deviceInfoData, DWORD Scope,
                                              DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                              const WCHAR *InfSectionName)
{
    return ::SetupDiCreateDevRegKeyW(
        DeviceInfoSet, reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData), Scope, HwProfile,
        KeyType, static_cast<HINF>(InfHandle), InfSectionName);
}

BOOL WindowsPlatform::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet,
                                                DeviceInfoData *deviceInfoData,
                                                DriverInfoData *driverInfoData)
{
    return ::SetupDiGetSelectedDriverW(DeviceInfoSet,
                                       reinterpret_cast<PSP_DEVINFO_DATA>(deviceInfoData),
                                       reinterpret_cast<PSP_DRVINFO_DATA_W>(driverInfoData));
}

} // namespace platform
