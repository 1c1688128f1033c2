#pragma once

#include "platform/configmanager.h"
#include "platform/newdev.h"
#include "platform/platform.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <mutex>

/// A machine in memory on which everything works and which keeps what it was
/// given. A test sets what the machine holds, wraps it in a
/// FaultInjectingPlatform for the calls' order and for failures, runs the
/// function and looks at what came of it. Handles, heap blocks and libraries
/// are counted, so that what is not released shows. Any thread.
class ScriptedMachine : public platform::Platform
{
public:
    ScriptedMachine();
    ~ScriptedMachine() override;

    /// What writing a debug line does to the last error on Windows.
    static void clearLastErrorOfThread();

    // System.
    platform::OsVersionInfoEx version{}; ///< Windows 7 workstation at first
    platform::WORD architecture = platform::ArchitectureX64;
    bool hasNativeSystemInfo = true;
    platform::WORD emulatedArchitecture = platform::ArchitectureIntel; ///< of GetSystemInfo
    int serverR2 = 0;
    QSet<QString> missingLibraries;

    // Processes.
    struct StartedProcess {
        QString application;
        QString commandLine;
        bool inheritHandles;
        platform::DWORD flags;
        bool ownDirectory;
        bool attributesNull; ///< security attributes and environment
        platform::StartupInfo startup;
    };
    QList<StartedProcess> startedProcesses;

    // Remote access.
    struct Connection {
        QString entryName;
        platform::RasConnectionHandle handle;
    };
    QList<Connection> connections;
    QList<platform::RasConnectionHandle> hungUp;
    /// dwSize, byte count and connection count that the enumeration was handed.
    platform::DWORD enumeratedSize = 0;
    platform::DWORD enumeratedBytes = 0;
    platform::DWORD enumeratedCount = 0;
    bool enumerationBufferWasZero = false;
    struct Device {
        QString type;
        QString name;
    };
    QList<Device> rasDevices;
    struct StoredEntry {
        QString name;
        platform::RasEntry record;
        platform::DWORD size;
        bool phonebookNull;
        bool deviceInfoNull;
    };
    QList<StoredEntry> storedEntries;
    platform::DWORD entryInfoSize = 5616; ///< what newer systems ask for
    platform::DWORD defaultEntryOptions = 0x01200010;
    struct Dial {
        QString entry;
        QString number;
        bool phonebookNull;
        platform::RasDialDialog record;
    };
    QList<Dial> dials;
    bool dialSucceeds = true;
    /// Runs inside the dial dialog, before it answers.
    std::function<void()> whileDialling;

    // The COM port.
    QString openedPath;
    platform::DeviceControlBlock lineSettings{}; ///< as the driver reports, then as set
    platform::DeviceControlBlock stateQuery{};   ///< the record that GetCommState was handed
    platform::CommTimeouts timeouts{};
    platform::DWORD eventMask = 0;
    QByteArray written;
    bool writesArePending = false;
    /// What the reads find, one chunk a read; an empty chunk is a read that
    /// finds nothing. When all are used up, waiting fails: the test would
    /// never end otherwise.
    QList<QByteArray> chunks;

    // Devices.
    struct Port {
        QString name;
        bool readable = true;
    };
    QList<Port> ports;
    /// The last error of the enumeration's end.
    platform::DWORD enumerationEnd = platform::ErrorNoMoreItems;
    QString infClass = "Modem";
    QString generatedId = "ROOT\\MODEM\\0000";
    /// Units that the instance id needs according to the first try; more than
    /// what it is handed makes that one fail.
    platform::DWORD instanceIdRequired = 0;
    QByteArray hardwareId; ///< bytes of the property as set
    bool driverKeyExists = false;
    bool selectedDriver = false;
    platform::DWORD selectedDriverSize = 1; ///< cbSize that the query was handed
    struct RegistryWrite {
        QString name;
        platform::DWORD type;
        QByteArray data;
    };
    QList<RegistryWrite> registryWrites;
    int registrations = 0;
    int removals = 0;
    QString copiedInf;
    bool updateWantsReboot = false;
    /// Runs inside the driver update.
    std::function<void()> whileUpdating;
    /// Runs inside the rescan of the device tree.
    std::function<void()> whileRescanning;

    // What is still open.
    int openPorts() const;
    int openEvents() const;
    int openDeviceSets() const;
    int openKeys() const;
    int openProcessHandles() const;
    int openBlocks() const; ///< of both heaps
    int loadedLibraries() const;
    /// Operations on a handle that was not open, frees of unknown blocks.
    int misuses() const;

    platform::DWORD GetLastError() override;
    void SetLastError(platform::DWORD dwErrCode) override;
    platform::HANDLE CreateEventW(void *lpEventAttributes, platform::BOOL bManualReset,
                                  platform::BOOL bInitialState,
                                  const platform::WCHAR *lpName) override;
    platform::DWORD WaitForSingleObject(platform::HANDLE hHandle,
                                        platform::DWORD dwMilliseconds) override;
    platform::BOOL CloseHandle(platform::HANDLE hObject) override;
    platform::HANDLE GetProcessHeap() override;
    void *HeapAlloc(platform::HANDLE hHeap, platform::DWORD dwFlags,
                    platform::SIZE_T dwBytes) override;
    platform::BOOL HeapFree(platform::HANDLE hHeap, platform::DWORD dwFlags, void *lpMem) override;
    void *LocalAlloc(platform::UINT uFlags, platform::SIZE_T uBytes) override;
    void *LocalFree(void *hMem) override;
    platform::HMODULE GetModuleHandleW(const platform::WCHAR *lpModuleName) override;
    platform::HMODULE LoadLibraryW(const platform::WCHAR *lpLibFileName) override;
    platform::FunctionAddress GetProcAddress(platform::HMODULE hModule,
                                             const char *lpProcName) override;
    platform::BOOL FreeLibrary(platform::HMODULE hLibModule) override;
    platform::BOOL CreateProcessW(const platform::WCHAR *lpApplicationName,
                                  platform::WCHAR *lpCommandLine, void *lpProcessAttributes,
                                  void *lpThreadAttributes, platform::BOOL bInheritHandles,
                                  platform::DWORD dwCreationFlags, void *lpEnvironment,
                                  const platform::WCHAR *lpCurrentDirectory,
                                  platform::StartupInfo *lpStartupInfo,
                                  platform::ProcessInformation *lpProcessInformation) override;
    platform::DWORD RasEnumConnectionsW(platform::RasConnection *lprasconn, platform::DWORD *lpcb,
                                        platform::DWORD *lpcConnections) override;
    platform::DWORD RasHangUpW(platform::RasConnectionHandle hrasconn) override;
    platform::BOOL RasDialDlgW(platform::WCHAR *lpszPhonebook, platform::WCHAR *lpszEntry,
                               platform::WCHAR *lpszPhoneNumber,
                               platform::RasDialDialog *lpInfo) override;
    platform::DWORD RasEnumDevicesW(platform::RasDeviceInfo *lpRasDevInfo, platform::DWORD *lpcb,
                                    platform::DWORD *lpcDevices) override;
    platform::DWORD RasGetEntryPropertiesW(const platform::WCHAR *lpszPhonebook,
                                           const platform::WCHAR *lpszEntry,
                                           platform::RasEntry *lpRasEntry,
                                           platform::DWORD *lpdwEntryInfoSize,
                                           platform::BYTE *lpbDeviceInfo,
                                           platform::DWORD *lpdwDeviceInfoSize) override;
    platform::DWORD RasSetEntryPropertiesW(const platform::WCHAR *lpszPhonebook,
                                           const platform::WCHAR *lpszEntry,
                                           platform::RasEntry *lpRasEntry,
                                           platform::DWORD dwEntryInfoSize,
                                           platform::BYTE *lpbDeviceInfo,
                                           platform::DWORD dwDeviceInfoSize) override;
    platform::LONG RegSetValueExW(platform::HKEY hKey, const platform::WCHAR *lpValueName,
                                  platform::DWORD Reserved, platform::DWORD dwType,
                                  const platform::BYTE *lpData, platform::DWORD cbData) override;
    platform::LONG RegCloseKey(platform::HKEY hKey) override;
    platform::HANDLE CreateFileW(const platform::WCHAR *lpFileName, platform::DWORD dwDesiredAccess,
                                 platform::DWORD dwShareMode, void *lpSecurityAttributes,
                                 platform::DWORD dwCreationDisposition,
                                 platform::DWORD dwFlagsAndAttributes,
                                 platform::HANDLE hTemplateFile) override;
    platform::BOOL GetCommState(platform::HANDLE hFile,
                                platform::DeviceControlBlock *lpDCB) override;
    platform::BOOL SetCommState(platform::HANDLE hFile,
                                platform::DeviceControlBlock *lpDCB) override;
    platform::BOOL SetCommTimeouts(platform::HANDLE hFile,
                                   platform::CommTimeouts *lpCommTimeouts) override;
    platform::BOOL SetCommMask(platform::HANDLE hFile, platform::DWORD dwEvtMask) override;
    platform::BOOL WaitCommEvent(platform::HANDLE hFile, platform::DWORD *lpEvtMask,
                                 platform::Overlapped *lpOverlapped) override;
    platform::BOOL ReadFile(platform::HANDLE hFile, void *lpBuffer,
                            platform::DWORD nNumberOfBytesToRead,
                            platform::DWORD *lpNumberOfBytesRead,
                            platform::Overlapped *lpOverlapped) override;
    platform::BOOL WriteFile(platform::HANDLE hFile, const void *lpBuffer,
                             platform::DWORD nNumberOfBytesToWrite,
                             platform::DWORD *lpNumberOfBytesWritten,
                             platform::Overlapped *lpOverlapped) override;
    platform::BOOL GetOverlappedResult(platform::HANDLE hFile, platform::Overlapped *lpOverlapped,
                                       platform::DWORD *lpNumberOfBytesTransferred,
                                       platform::BOOL bWait) override;
    platform::BOOL SetupCopyOEMInfW(const platform::WCHAR *SourceInfFileName,
                                    const platform::WCHAR *OEMSourceMediaLocation,
                                    platform::DWORD OEMSourceMediaType, platform::DWORD CopyStyle,
                                    platform::WCHAR *DestinationInfFileName,
                                    platform::DWORD DestinationInfFileNameSize,
                                    platform::DWORD *RequiredSize,
                                    platform::WCHAR **DestinationInfFileNameComponent) override;
    platform::BOOL SetupDiGetINFClassW(const platform::WCHAR *InfName, platform::Guid *ClassGuid,
                                       platform::WCHAR *ClassName, platform::DWORD ClassNameSize,
                                       platform::DWORD *RequiredSize) override;
    platform::HDEVINFO SetupDiGetClassDevsW(const platform::Guid *ClassGuid,
                                            const platform::WCHAR *Enumerator,
                                            platform::HWND hwndParent,
                                            platform::DWORD Flags) override;
    platform::HDEVINFO SetupDiCreateDeviceInfoList(const platform::Guid *ClassGuid,
                                                   platform::HWND hwndParent) override;
    platform::BOOL SetupDiDestroyDeviceInfoList(platform::HDEVINFO DeviceInfoSet) override;
    platform::BOOL SetupDiEnumDeviceInfo(platform::HDEVINFO DeviceInfoSet,
                                         platform::DWORD MemberIndex,
                                         platform::DeviceInfoData *deviceInfoData) override;
    platform::BOOL SetupDiGetDeviceRegistryPropertyW(platform::HDEVINFO DeviceInfoSet,
                                                     platform::DeviceInfoData *deviceInfoData,
                                                     platform::DWORD Property,
                                                     platform::DWORD *PropertyRegDataType,
                                                     platform::BYTE *PropertyBuffer,
                                                     platform::DWORD PropertyBufferSize,
                                                     platform::DWORD *RequiredSize) override;
    platform::BOOL SetupDiSetDeviceRegistryPropertyW(platform::HDEVINFO DeviceInfoSet,
                                                     platform::DeviceInfoData *deviceInfoData,
                                                     platform::DWORD Property,
                                                     const platform::BYTE *PropertyBuffer,
                                                     platform::DWORD PropertyBufferSize) override;
    platform::BOOL SetupDiCreateDeviceInfoW(platform::HDEVINFO DeviceInfoSet,
                                            const platform::WCHAR *DeviceName,
                                            const platform::Guid *ClassGuid,
                                            const platform::WCHAR *DeviceDescription,
                                            platform::HWND hwndParent,
                                            platform::DWORD CreationFlags,
                                            platform::DeviceInfoData *deviceInfoData) override;
    platform::BOOL SetupDiGetDeviceInstanceIdW(platform::HDEVINFO DeviceInfoSet,
                                               platform::DeviceInfoData *deviceInfoData,
                                               platform::WCHAR *DeviceInstanceId,
                                               platform::DWORD DeviceInstanceIdSize,
                                               platform::DWORD *RequiredSize) override;
    platform::BOOL SetupDiRegisterDeviceInfo(platform::HDEVINFO DeviceInfoSet,
                                             platform::DeviceInfoData *deviceInfoData,
                                             platform::DWORD Flags, void *CompareProc,
                                             void *CompareContext,
                                             platform::DeviceInfoData *DupDeviceInfoData) override;
    platform::BOOL SetupDiCallClassInstaller(platform::UINT InstallFunction,
                                             platform::HDEVINFO DeviceInfoSet,
                                             platform::DeviceInfoData *deviceInfoData) override;
    platform::HKEY SetupDiOpenDevRegKey(platform::HDEVINFO DeviceInfoSet,
                                        platform::DeviceInfoData *deviceInfoData,
                                        platform::DWORD Scope, platform::DWORD HwProfile,
                                        platform::DWORD KeyType,
                                        platform::DWORD samDesired) override;
    platform::HKEY SetupDiCreateDevRegKeyW(platform::HDEVINFO DeviceInfoSet,
                                           platform::DeviceInfoData *deviceInfoData,
                                           platform::DWORD Scope, platform::DWORD HwProfile,
                                           platform::DWORD KeyType, void *InfHandle,
                                           const platform::WCHAR *InfSectionName) override;
    platform::BOOL SetupDiGetSelectedDriverW(platform::HDEVINFO DeviceInfoSet,
                                             platform::DeviceInfoData *deviceInfoData,
                                             platform::DriverInfoData *driverInfoData) override;
    platform::BOOL GetVersionExW(platform::OsVersionInfoEx *lpVersionInformation) override;
    int GetSystemMetrics(int nIndex) override;
    void GetSystemInfo(platform::SystemInfo *lpSystemInfo) override;

private:
    enum class Kind { Port, Event, DeviceSet, Key, ProcessHandle, Connection };

    struct BoundFunctions;

    platform::HANDLE open(Kind kind);
    bool isOpen(platform::HANDLE handle, Kind kind);
    bool close(platform::HANDLE handle, Kind kind);
    int count(Kind kind) const;
    void *allocate(platform::SIZE_T bytes);
    bool release(void *block);

    // Not QMutex: what it does under contention is hidden from the thread sanitizer.
    mutable std::mutex m_mutex;
    QHash<platform::HANDLE, Kind> m_open;
    platform::ULONG_PTR m_nextHandle = 0x10;
    QSet<void *> m_blocks;
    QHash<platform::HMODULE, QString> m_libraries;
    int m_loadedLibraries = 0;
    int m_misuses = 0;
    platform::DWORD m_pendingWrite = 0;
};
