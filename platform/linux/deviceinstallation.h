#pragma once

#include "platform/linux/modemdevices.h"
#include "platform/linux/serialports.h"
#include "platform/registry.h"
#include "platform/setupapi.h"
#include "platform/standin/handletable.h"

#include <atomic>

namespace platform::linuxsystem {

/// Device installation on Linux: the ports are those that udev knows; INF
/// store, root-enumerated devices and their driver keys are kept in the state
/// store and need administrator rights to change. Any thread.
class DeviceInstallation
{
public:
    /// The store stays the caller's and must outlive this object.
    explicit DeviceInstallation(const std::shared_ptr<StateStore> &store);

    /// Copies the file to the INF store as oemN.inf; one that is there already
    /// is not copied again. No catalogue exists here, so a style that asks for
    /// it alone copies the INF as well. 0xE0000100 for a file
    /// that is no INF.
    BOOL SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *OEMSourceMediaLocation,
                          DWORD OEMSourceMediaType, DWORD CopyStyle, WCHAR *DestinationInfFileName,
                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                          WCHAR **DestinationInfFileNameComponent);
    BOOL SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                             DWORD ClassNameSize, DWORD *RequiredSize);
    /// Only the present devices of the Ports class; 50 for anything else.
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
    /// No driver is ever selected: installing one is UpdateDriver's work.
    BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DriverInfoData *driverInfoData);

    /// Only text values; 50 for other types.
    LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                        const BYTE *lpData, DWORD cbData);
    LONG RegCloseKey(HKEY hKey);

    /// UpdateDriverForPlugAndPlayDevicesW: 2 for a missing INF, 0xE000020B
    /// when no device has the hardware id, 259 when the INF does not serve it,
    /// 1004 for unknown flags, 5 without the rights.
    BOOL updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, DWORD flags,
                      BOOL *rebootRequired);

private:
    struct Member {
        DEVINST devInst = 0;
        Guid classGuid{};
        QString friendlyName; ///< of a port
        ModemDevice device;   ///< of a root-enumerated device
        bool isPort = false;
        bool isRegistered = false;
    };
    struct DeviceSet {
        virtual ~DeviceSet() = default;
        Guid classGuid{};
        QList<Member> members;
    };
    struct DriverKeyHandle {
        virtual ~DriverKeyHandle() = default;
        QString instanceId;
    };

    /// The device of a set; null with the last error set when either is not
    /// what it should be. Held while the set is in use.
    Member *member(HDEVINFO set, const DeviceInfoData *data, std::shared_ptr<DeviceSet> *held);
    /// The same for a root-enumerated device.
    Member *modem(HDEVINFO set, const DeviceInfoData *data, std::shared_ptr<DeviceSet> *held);
    BOOL changeDevice(const QString &instanceId, const std::function<void(ModemDevice *)> &change);
    HKEY failedKey(DWORD code);

    std::shared_ptr<StateStore> m_store;
    HandleTable<DeviceSet> m_sets;
    HandleTable<DriverKeyHandle> m_keys;
    std::atomic<DEVINST> m_nextDevInst{2}; // 1 is the root
};

} // namespace platform::linuxsystem
