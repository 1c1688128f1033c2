#pragma once

#include "platform/configmanager.h"
#include "platform/platform.h"
#include "platform/posix/handletable.h"
#include "platform/posix/overlappedserial.h"
#include "platform/posix/posixmemory.h"

#include <QString>

namespace platform {

class DeviceInfoSet;
class OpenKey;

/// A PC that is not there: the operating system's side of every call, over a
/// state directory that several processes may share. What it does not model
/// it refuses with ErrorNotSupported and a line on standard error.
///
/// Functions handed out by GetProcAddress have no object to belong to: they
/// work on the PC that was asked last, in whichever thread.
class SimulatedPc : public Platform
{
public:
    explicit SimulatedPc(const QString &stateDirectory);
    ~SimulatedPc() override;

    DWORD GetLastError() override;
    void SetLastError(DWORD dwErrCode) override;

    HANDLE CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                        const WCHAR *lpName) override;
    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) override;
    BOOL CloseHandle(HANDLE hObject) override;

    HANDLE GetProcessHeap() override;
    void *HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes) override;
    BOOL HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem) override;
    void *LocalAlloc(UINT uFlags, SIZE_T uBytes) override;
    void *LocalFree(void *hMem) override;

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

    HANDLE CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                       void *lpSecurityAttributes, DWORD dwCreationDisposition,
                       DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) override;
    BOOL GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) override;
    BOOL SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) override;
    BOOL SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts) override;
    BOOL SetCommMask(HANDLE hFile, DWORD dwEvtMask) override;
    BOOL WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped) override;
    BOOL ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                  DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped) override;
    BOOL WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                   DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped) override;
    BOOL GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                             DWORD *lpNumberOfBytesTransferred, BOOL bWait) override;

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
    /// The machine's COM ports.
    class Ports : public OverlappedSerial
    {
    public:
        explicit Ports(const QString &directory) : m_directory(directory) {}

    protected:
        DWORD deviceNodeForPort(int number, QString *node) override;

    private:
        const QString m_directory;
    };

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
    Ports m_ports;
    PosixMemory m_memory;
    HandleTable<DeviceInfoSet> m_deviceSets;
    HandleTable<OpenKey> m_keys;
};

} // namespace platform
