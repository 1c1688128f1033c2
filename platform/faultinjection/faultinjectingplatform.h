#pragma once

#include "platform/configmanager.h"
#include "platform/newdev.h"
#include "platform/platform.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <mutex>

namespace platform {

/// A failure to be injected.
struct Fault {
    /// Operation name such as "RasHangUpW", also one bound at run time such as
    /// "CM_Locate_DevNode_ExA"; "*" stands for any operation.
    QString operation;
    /// Which of its calls fails, from 1.
    int call = 1;
    /// What it fails with: the result code of the RAS, registry and
    /// configuration manager functions, the last error of all others.
    DWORD code = 0;
    /// Whether every later call fails as well.
    bool always = false;
};

/// A decorator over any backend that lets chosen calls fail as the system
/// would and writes down every call in order. Not called when a call fails:
/// the backend. Any thread. Operations that cannot fail (GetLastError,
/// SetLastError, GetProcessHeap, GetSystemInfo, GetSystemMetrics) pass through
/// and do not count for "*"; the first two are not written down.
class FaultInjectingPlatform : public Platform
{
public:
    /// The backend stays the caller's and must outlive the decorator.
    explicit FaultInjectingPlatform(Platform &real);
    ~FaultInjectingPlatform() override;

    /// The names that a fault may have, "*" excepted, in ascending order.
    static QStringList failingOperations();

    /// Adds a failure to those that wait for their call. An operation of
    /// another name never fires.
    void inject(const Fault &fault);
    /// Forgets faults, counts and calls.
    void reset();

    /// How many faults have fired.
    int firedFaults() const;
    /// The calls so far as "Operation(arguments)": text in double quotes,
    /// numbers in decimal, handles in hexadecimal, other pointers as "&", null
    /// as "null".
    QStringList calls() const;
    /// The operation names of calls().
    QStringList operations() const;

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
    /// A function bound at run time has no object to belong to: these stand in
    /// for the backend's own and find the decorator that handed them out.
    struct BoundFunctions;

    /// The operations that can fail, as many as operationNames.
    enum class Operation;
    static const char *const operationNames[];
    static QString nameOf(Operation operation);

    void writeDown(const QString &operation, const QStringList &arguments);
    /// Writes the call down and counts it; the code to fail with when a fault fires.
    bool fails(Operation operation, const QStringList &arguments, DWORD *code);

    template<typename Family, typename... Parameters, typename... Arguments>
    auto failingWithCode(Operation operation, DWORD (Family::*function)(Parameters...),
                         Arguments... arguments) -> DWORD;
    template<typename Result, typename Family, typename... Parameters, typename... Arguments>
    auto failingWithLastError(Operation operation, Result failure,
                              Result (Family::*function)(Parameters...), Arguments... arguments)
        -> Result;

    Platform &m_real;
    // Not QMutex: what it does under contention is hidden from the thread sanitizer.
    mutable std::mutex m_mutex;
    QList<Fault> m_faults;
    QHash<QString, int> m_counts;
    QStringList m_calls;
    QStringList m_operations;
    int m_fired = 0;
    QHash<QString, FunctionAddress> m_bound;
};

} // namespace platform
