#pragma once

#include "platform/types.h"

namespace platform {

/// SP_DEVINFO_DATA: one device of a device information set.
struct DeviceInfoData {
    DWORD cbSize;
    Guid ClassGuid;
    DEVINST DevInst;
    ULONG_PTR Reserved;
};
static_assert(sizeof(DeviceInfoData) == 32, "SP_DEVINFO_DATA on 64-bit Windows");

/// FILETIME.
struct FileTime {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

/// SP_DRVINFO_DATA_W (version 2).
struct DriverInfoData {
    DWORD cbSize;
    DWORD DriverType;
    ULONG_PTR Reserved;
    WCHAR Description[256];
    WCHAR MfgName[256];
    WCHAR ProviderName[256];
    FileTime DriverDate;
    std::uint64_t DriverVersion;
};
static_assert(sizeof(DriverInfoData) == 1568, "SP_DRVINFO_DATA_V2_W on 64-bit Windows");

/// GUID_DEVCLASS_PORTS.
inline constexpr Guid PortsClassGuid = {
    0x4D36E978, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

inline constexpr DWORD SourceMediaNone = 0;                 ///< SPOST_NONE
inline constexpr DWORD CopyInfCatalogOnly = 0x40000;        ///< SP_COPY_OEMINF_CATALOG_ONLY
inline constexpr DWORD GetPresentDevices = 2;               ///< DIGCF_PRESENT
inline constexpr DWORD PropertyHardwareId = 1;              ///< SPDRP_HARDWAREID
inline constexpr DWORD PropertyFriendlyName = 12;           ///< SPDRP_FRIENDLYNAME
inline constexpr DWORD GenerateDeviceId = 1;                ///< DICD_GENERATE_ID
inline constexpr UINT FunctionRemove = 5;                   ///< DIF_REMOVE
inline constexpr DWORD ScopeGlobal = 1;                     ///< DICS_FLAG_GLOBAL
inline constexpr DWORD DriverKey = 2;                       ///< DIREG_DRV
inline constexpr DWORD KeyAllAccess = 0xF003F;              ///< KEY_ALL_ACCESS
inline constexpr DWORD ErrorKeyDoesNotExist = 0xE0000204;   ///< ERROR_KEY_DOES_NOT_EXIST
inline constexpr DWORD ErrorNoDriverSelected = 0xE0000203;  ///< ERROR_NO_DRIVER_SELECTED
inline constexpr DWORD ErrorInvalidInfStyle = 0xE0000100;   ///< ERROR_GENERAL_SYNTAX of an INF
inline constexpr DWORD ErrorNoAssociatedClass = 0xE0000200; ///< ERROR_NO_ASSOCIATED_CLASS

/// Device installation (setupapi). Any thread; one device information set is
/// used by one thread at a time. Operations that return BOOL give zero on
/// failure, with GetLastError; handles are invalidHandle() on failure.
class SetupApi
{
public:
    virtual ~SetupApi() = default;

    /// Copies an INF into the system's INF store; 2 when the file is missing,
    /// 5 without administrator rights.
    virtual BOOL SetupCopyOEMInfW(const WCHAR *SourceInfFileName,
                                  const WCHAR *OEMSourceMediaLocation, DWORD OEMSourceMediaType,
                                  DWORD CopyStyle, WCHAR *DestinationInfFileName,
                                  DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                                  WCHAR **DestinationInfFileNameComponent) = 0;

    /// The class GUID and name that an INF states. ClassNameSize is in
    /// characters, the terminator included.
    virtual BOOL SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                                     DWORD ClassNameSize, DWORD *RequiredSize) = 0;

    /// The devices of a class as they are now; the caller owns the set until
    /// SetupDiDestroyDeviceInfoList.
    virtual HDEVINFO SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator,
                                          HWND hwndParent, DWORD Flags) = 0;

    /// An empty set for a class; owned as above.
    virtual HDEVINFO SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent) = 0;

    /// Discards a set and every device in it that was never registered.
    virtual BOOL SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet) = 0;

    /// The device at an index from 0; 259 behind the last one.
    virtual BOOL SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                       DeviceInfoData *deviceInfoData) = 0;

    /// A device property. Sizes are in bytes; 122 with RequiredSize set when
    /// the buffer is too small, 13 when the device has no such property.
    virtual BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData, DWORD Property,
                                                   DWORD *PropertyRegDataType, BYTE *PropertyBuffer,
                                                   DWORD PropertyBufferSize,
                                                   DWORD *RequiredSize) = 0;

    /// Sets a device property; PropertyBufferSize in bytes, all terminators
    /// of a multi-string included.
    virtual BOOL SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet,
                                                   DeviceInfoData *deviceInfoData, DWORD Property,
                                                   const BYTE *PropertyBuffer,
                                                   DWORD PropertyBufferSize) = 0;

    /// Adds a new root-enumerated device to a set; with GenerateDeviceId the
    /// system finds its instance number.
    virtual BOOL SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                          const Guid *ClassGuid, const WCHAR *DeviceDescription,
                                          HWND hwndParent, DWORD CreationFlags,
                                          DeviceInfoData *deviceInfoData) = 0;

    /// The device's instance id; sizes in characters, 122 as above.
    virtual BOOL SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                             WCHAR *DeviceInstanceId, DWORD DeviceInstanceIdSize,
                                             DWORD *RequiredSize) = 0;

    /// Makes a new device known to the system: it outlives the set from now on.
    virtual BOOL SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Flags, void *CompareProc, void *CompareContext,
                                           DeviceInfoData *DupDeviceInfoData) = 0;

    /// Runs a class installer function on a device, such as FunctionRemove.
    virtual BOOL SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                           DeviceInfoData *deviceInfoData) = 0;

    /// Opens a device's key; 0xE0000204 when it does not exist. The key is
    /// the caller's until RegCloseKey.
    virtual HKEY SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                      DWORD Scope, DWORD HwProfile, DWORD KeyType,
                                      DWORD samDesired) = 0;

    /// Creates a device's key; owned as above.
    virtual HKEY SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                         DWORD Scope, DWORD HwProfile, DWORD KeyType,
                                         void *InfHandle, const WCHAR *InfSectionName) = 0;

    /// The driver chosen for a device; 0xE0000203 when there is none, 87 for
    /// a record with a wrong cbSize.
    virtual BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DriverInfoData *driverInfoData) = 0;
};

} // namespace platform
