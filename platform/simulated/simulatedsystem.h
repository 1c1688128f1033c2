#pragma once

#include "platform/configmanager.h"
#include "platform/modules.h"
#include "platform/posix/handletable.h"
#include "platform/posix/overlappedserial.h"
#include "platform/process.h"
#include "platform/ras.h"
#include "platform/registry.h"
#include "platform/setupapi.h"
#include "platform/systeminformation.h"

#include <QString>

namespace platform {

class DeviceInfoSet;
class OpenKey;

/// The simulated PC's answers to every family but memory and serial lines:
/// libraries, processes, remote access, devices and what the system tells
/// about itself, over the state directory. One class, because the families
/// meet: a bound function works on devices, an open key belongs to one.
///
/// Functions handed out by GetProcAddress have no object to belong to: they
/// work on the system that was asked last, in whichever thread.
class SimulatedSystem : public Modules,
                        public Process,
                        public Ras,
                        public Registry,
                        public SetupApi,
                        public SystemInformation
{
public:
    /// The handles of started processes live in the table of the ports, which
    /// stay the caller's and must outlive the system.
    SimulatedSystem(const QString &stateDirectory, OverlappedSerial *handles);
    ~SimulatedSystem() override;

    HMODULE GetModuleHandleW(const WCHAR *lpModuleName) override;
    HMODULE LoadLibraryW(const WCHAR *lpLibFileName) override;
    FunctionAddress GetProcAddress(HMODULE hModule, const char *lpProcName) override;
    BOOL FreeLibrary(HMODULE hLibModule) override;

    BOOL CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                        void *lpProcessAttributes, void *lpThreadAttributes, BOOL bInheritHandles,
                        DWORD dwCreationFlags, void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                        StartupInfo *lpStartupInfo,
                        ProcessInformation *lpProcessInformation) override;

    DWORD RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                              DWORD *lpcConnections) override;
    DWORD RasHangUpW(RasConnectionHandle hrasconn) override;
    BOOL RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                     RasDialDialog *lpInfo) override;
    DWORD RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices) override;
    DWORD RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                 BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize) override;
    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD dwDeviceInfoSize) override;

    LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                        const BYTE *lpData, DWORD cbData) override;
    LONG RegCloseKey(HKEY hKey) override;

    BOOL SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *OEMSourceMediaLocation,
                          DWORD OEMSourceMediaType, DWORD CopyStyle, WCHAR *DestinationInfFileName,
                          DWORD DestinationInfFileNameSize, DWORD *RequiredSize,
                          WCHAR **DestinationInfFileNameComponent) override;
    BOOL SetupDiGetINFClassW(const WCHAR *InfName, Guid *ClassGuid, WCHAR *ClassName,
                             DWORD ClassNameSize, DWORD *RequiredSize) override;
    HDEVINFO SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator, HWND hwndParent,
                                  DWORD Flags) override;
    HDEVINFO SetupDiCreateDeviceInfoList(const Guid *ClassGuid, HWND hwndParent) override;
    BOOL SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet) override;
    BOOL SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                               DeviceInfoData *deviceInfoData) override;
    BOOL SetupDiGetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, DWORD *PropertyRegDataType,
                                           BYTE *PropertyBuffer, DWORD PropertyBufferSize,
                                           DWORD *RequiredSize) override;
    BOOL SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                           DWORD Property, const BYTE *PropertyBuffer,
                                           DWORD PropertyBufferSize) override;
    BOOL SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *DeviceName,
                                  const Guid *ClassGuid, const WCHAR *DeviceDescription,
                                  HWND hwndParent, DWORD CreationFlags,
                                  DeviceInfoData *deviceInfoData) override;
    BOOL SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                     WCHAR *DeviceInstanceId, DWORD DeviceInstanceIdSize,
                                     DWORD *RequiredSize) override;
    BOOL SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DWORD Flags, void *CompareProc, void *CompareContext,
                                   DeviceInfoData *DupDeviceInfoData) override;
    BOOL SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                   DeviceInfoData *deviceInfoData) override;
    HKEY SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD Scope,
                              DWORD HwProfile, DWORD KeyType, DWORD samDesired) override;
    HKEY SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                 DWORD Scope, DWORD HwProfile, DWORD KeyType, void *InfHandle,
                                 const WCHAR *InfSectionName) override;
    BOOL SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData,
                                   DriverInfoData *driverInfoData) override;

    BOOL GetVersionExW(OsVersionInfoEx *lpVersionInformation) override;
    int GetSystemMetrics(int nIndex) override;
    void GetSystemInfo(SystemInfo *lpSystemInfo) override;

private:
    /// What cfgmgr32.dll, newdev.dll and kernel32.dll export.
    struct BoundFunctions;

    ConfigRet locateDevNode(DEVINST *node, const char *deviceId, ULONG flags,
                            MachineHandle machine);
    ConfigRet reenumerateDevNode(DEVINST node, ULONG flags, MachineHandle machine);
    BOOL updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, DWORD flags,
                      BOOL *rebootRequired);
    HKEY openKey(HDEVINFO set, DeviceInfoData *data, DWORD scope, DWORD profile, DWORD type,
                 bool create);

    const QString m_directory;
    OverlappedSerial *const m_handles;
    HandleTable<DeviceInfoSet> m_deviceSets;
    HandleTable<OpenKey> m_keys;
};

} // namespace platform
