#pragma once

#include "platform/operation.h"
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

/// MAX_CLASS_NAME_LEN: characters of a class name, the terminator included.
inline constexpr DWORD MaxClassNameSize = 32;

inline constexpr DWORD SourceMediaNone = 0;                  ///< SPOST_NONE
inline constexpr DWORD CopyNoOverwrite = 0x8;                ///< SP_COPY_NOOVERWRITE
inline constexpr DWORD CopyInfCatalogOnly = 0x40000;         ///< SP_COPY_OEMINF_CATALOG_ONLY
inline constexpr DWORD GetPresentDevices = 2;                ///< DIGCF_PRESENT
inline constexpr DWORD PropertyHardwareId = 1;               ///< SPDRP_HARDWAREID
inline constexpr DWORD PropertyFriendlyName = 12;            ///< SPDRP_FRIENDLYNAME
inline constexpr DWORD GenerateDeviceId = 1;                 ///< DICD_GENERATE_ID
inline constexpr UINT FunctionRemove = 5;                    ///< DIF_REMOVE
inline constexpr DWORD ScopeGlobal = 1;                      ///< DICS_FLAG_GLOBAL
inline constexpr DWORD DriverKey = 2;                        ///< DIREG_DRV
inline constexpr DWORD KeyAllAccess = 0xF003F;               ///< KEY_ALL_ACCESS
inline constexpr DWORD ErrorInvalidUserBuffer = 1784;        ///< ERROR_INVALID_USER_BUFFER
inline constexpr DWORD ErrorWrongInfStyle = 0xE0000100;      ///< ERROR_WRONG_INF_STYLE
inline constexpr DWORD ErrorNoAssociatedClass = 0xE0000200;  ///< ERROR_NO_ASSOCIATED_CLASS
inline constexpr DWORD ErrorClassMismatch = 0xE0000201;      ///< ERROR_CLASS_MISMATCH
inline constexpr DWORD ErrorNoDriverSelected = 0xE0000203;   ///< ERROR_NO_DRIVER_SELECTED
inline constexpr DWORD ErrorKeyDoesNotExist = 0xE0000204;    ///< ERROR_KEY_DOES_NOT_EXIST
inline constexpr DWORD ErrorInvalidDevInstName = 0xE0000205; ///< ERROR_INVALID_DEVINST_NAME
inline constexpr DWORD ErrorInvalidClass = 0xE0000206;       ///< ERROR_INVALID_CLASS
inline constexpr DWORD ErrorNotRegistered = 0xE0000208;      ///< ERROR_DEVINFO_NOT_REGISTERED
inline constexpr DWORD ErrorNoSuchDevInst = 0xE000020B;      ///< ERROR_NO_SUCH_DEVINST

/// Device installation (setupapi). Any thread; one device information set is
/// used by one thread at a time. Operations that return BOOL give zero on
/// failure, with GetLastError; handles are invalidHandle() on failure. Whatever
/// takes a set answers 6 for one that does not exist; whatever takes a device
/// answers 1784 for a record with a wrong cbSize and 0xE000020B for one that is
/// not of the set, or was removed.
struct SetupApi : Family {
    /// Copies an INF into the system's INF store and tells its full path there;
    /// RequiredSize is in characters, the terminator included. 2 when the file
    /// is missing, 5 without administrator rights, 0xE0000100 for a file that
    /// is no INF, 122 when the path does not fit its buffer. With
    /// CopyInfCatalogOnly only the INF's catalogue is copied; the path is empty
    /// unless the store has the INF already. With CopyNoOverwrite an INF that the
    /// store has already answers 80, and its path all the same.
    Operation<BOOL(const WCHAR *SourceInfFileName, const WCHAR *OEMSourceMediaLocation,
                   DWORD OEMSourceMediaType, DWORD CopyStyle, WCHAR *DestinationInfFileName,
                   DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                   WCHAR **DestinationInfFileNameComponent)>
        SetupCopyOEMInfW{this, "SetupCopyOEMInfW"};

    /// The class GUID and name that an INF states; a bare file name means one
    /// of the INF store. ClassNameSize is in characters, the terminator
    /// included; a name never has more than MaxClassNameSize. Both buffers are
    /// needed: 87 without them, 122 when the name does not fit. 0xE0000200 for an
    /// INF that states no class, 0xE0000206 for one whose class name is too long.
    Operation<BOOL(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName, DWORD ClassNameSize,
                   DWORD *RequiredSize)>
        SetupDiGetINFClassW{this, "SetupDiGetINFClassW"};

    /// The devices of a class as they are now; the caller owns the set until
    /// SetupDiDestroyDeviceInfoList. 87 for a null class, unless Flags ask for
    /// all classes.
    Operation<HDEVINFO(const Guid *ClassGuid, const WCHAR *Enumerator, HWND hwndParent,
                       DWORD Flags)>
        SetupDiGetClassDevsW{this, "SetupDiGetClassDevsW", invalidHandle()};

    /// An empty set for a class, or for devices of any class when it is null;
    /// owned as above.
    Operation<HDEVINFO(const Guid *ClassGuid, HWND hwndParent)> SetupDiCreateDeviceInfoList{
        this, "SetupDiCreateDeviceInfoList", invalidHandle()};

    /// Discards a set and every device in it that was never registered.
    Operation<BOOL(HDEVINFO DeviceInfoSet)> SetupDiDestroyDeviceInfoList{
        this, "SetupDiDestroyDeviceInfoList"};

    /// The device at an index from 0; 259 behind the last one.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DWORD MemberIndex, DeviceInfoData *deviceInfoData)>
        SetupDiEnumDeviceInfo{this, "SetupDiEnumDeviceInfo"};

    /// A device property. Sizes are in bytes; 122 with RequiredSize set when
    /// the buffer is too small, 13 when the device has no such property.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
                   DWORD *PropertyRegDataType, BYTE *PropertyBuffer, DWORD PropertyBufferSize,
                   DWORD *RequiredSize)>
        SetupDiGetDeviceRegistryPropertyW{this, "SetupDiGetDeviceRegistryPropertyW"};

    /// Sets a device property; PropertyBufferSize in bytes, all terminators
    /// of a multi-string included: 13 when they are not there.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Property,
                   const BYTE *PropertyBuffer, DWORD PropertyBufferSize)>
        SetupDiSetDeviceRegistryPropertyW{this, "SetupDiSetDeviceRegistryPropertyW"};

    /// Adds a new root-enumerated device to a set; with GenerateDeviceId the
    /// system finds its instance number. 5 without administrator rights, 87
    /// for a null class, 0xE0000201 for another class than the set's,
    /// 0xE0000205 for a name that cannot be part of an instance id.
    Operation<BOOL(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName, const Guid *ClassGuid,
                   const WCHAR *DeviceDescription, HWND hwndParent, DWORD CreationFlags,
                   DeviceInfoData *deviceInfoData)>
        SetupDiCreateDeviceInfoW{this, "SetupDiCreateDeviceInfoW"};

    /// The device's instance id; sizes in characters, 122 as above.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, WCHAR *DeviceInstanceId,
                   DWORD DeviceInstanceIdSize, DWORD *RequiredSize)>
        SetupDiGetDeviceInstanceIdW{this, "SetupDiGetDeviceInstanceIdW"};

    /// Makes a new device known to the system: it outlives the set from now
    /// on. Once more does no harm. A generated id that another program took
    /// meanwhile is replaced by the next one, so ask for the id afterwards. 5
    /// without administrator rights, 0xE000020B when the device was removed.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Flags,
                   void *CompareProc, void *CompareContext, DeviceInfoData *DupDeviceInfoData)>
        SetupDiRegisterDeviceInfo{this, "SetupDiRegisterDeviceInfo"};

    /// Runs a class installer function on a device, such as FunctionRemove.
    Operation<BOOL(UINT InstallFunction, HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData)>
        SetupDiCallClassInstaller{this, "SetupDiCallClassInstaller"};

    /// Opens a device's key; 0xE0000204 when it does not exist, 0xE0000208
    /// for a device that is not registered, 5 when samDesired asks for more
    /// than the user may. The key is the caller's until RegCloseKey.
    Operation<HKEY(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Scope,
                   DWORD HwProfile, DWORD KeyType, DWORD samDesired)>
        SetupDiOpenDevRegKey{this, "SetupDiOpenDevRegKey", invalidHandle()};

    /// Creates a device's key, or opens the one that is there; owned as above.
    Operation<HKEY(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Scope,
                   DWORD HwProfile, DWORD KeyType, void *InfHandle, const WCHAR *InfSectionName)>
        SetupDiCreateDevRegKeyW{this, "SetupDiCreateDevRegKeyW", invalidHandle()};

    /// The driver chosen for a device; 0xE0000203 when there is none, 1784 for
    /// a record with a wrong cbSize.
    Operation<BOOL(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                   DriverInfoData *driverInfoData)>
        SetupDiGetSelectedDriverW{this, "SetupDiGetSelectedDriverW"};
};

} // namespace platform
