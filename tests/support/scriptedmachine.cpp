#include "tests/support/scriptedmachine.h"

#include "platform/text.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <utility>

using namespace platform;

namespace {

thread_local DWORD lastError = 0;
std::atomic<ScriptedMachine *> boundMachine{nullptr};

BOOL failWith(DWORD error)
{
    lastError = error;
    return 0;
}

} // namespace

ScriptedMachine::ScriptedMachine()
{
    version.dwMajorVersion = 6;
    version.dwMinorVersion = 1;
    version.dwPlatformId = PlatformWin32Nt;
    version.wProductType = ProductWorkstation;
    lineSettings.DCBlength = sizeof lineSettings;
    lineSettings.BaudRate = 115200;
    lineSettings.Flags = 0x1011;
    lineSettings.ByteSize = 7;
    lineSettings.Parity = 2;
    lineSettings.StopBits = 2;
    lineSettings.XonChar = 0x11;
    lastError = 0;
}

ScriptedMachine::~ScriptedMachine()
{
    for (void *block : std::as_const(m_blocks))
        std::free(block);
    ScriptedMachine *self = this;
    boundMachine.compare_exchange_strong(self, nullptr);
}

void ScriptedMachine::clearLastErrorOfThread()
{
    lastError = 0;
}

// Handles, blocks and their count.

HANDLE ScriptedMachine::open(Kind kind)
{
    const std::lock_guard lock(m_mutex);
    const HANDLE handle = reinterpret_cast<HANDLE>(m_nextHandle);
    m_nextHandle += 0x10;
    m_open.insert(handle, kind);
    return handle;
}

bool ScriptedMachine::isOpen(HANDLE handle, Kind kind)
{
    const std::lock_guard lock(m_mutex);
    const auto found = m_open.constFind(handle);
    if (found != m_open.constEnd() && found.value() == kind)
        return true;
    ++m_misuses;
    lastError = ErrorInvalidHandle;
    return false;
}

bool ScriptedMachine::close(HANDLE handle, Kind kind)
{
    if (!isOpen(handle, kind))
        return false;
    const std::lock_guard lock(m_mutex);
    m_open.remove(handle);
    return true;
}

int ScriptedMachine::count(Kind kind) const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(std::count(m_open.cbegin(), m_open.cend(), kind));
}

void *ScriptedMachine::allocate(SIZE_T bytes)
{
    void *block = std::calloc(1, std::max<SIZE_T>(bytes, 1));
    const std::lock_guard lock(m_mutex);
    m_blocks.insert(block);
    return block;
}

bool ScriptedMachine::release(void *block)
{
    {
        const std::lock_guard lock(m_mutex);
        if (!m_blocks.remove(block)) {
            ++m_misuses;
            return false;
        }
    }
    std::free(block);
    return true;
}

int ScriptedMachine::openPorts() const
{
    return count(Kind::Port);
}

int ScriptedMachine::openEvents() const
{
    return count(Kind::Event);
}

int ScriptedMachine::openDeviceSets() const
{
    return count(Kind::DeviceSet);
}

int ScriptedMachine::openKeys() const
{
    return count(Kind::Key);
}

int ScriptedMachine::openProcessHandles() const
{
    return count(Kind::ProcessHandle);
}

int ScriptedMachine::openBlocks() const
{
    const std::lock_guard lock(m_mutex);
    return static_cast<int>(m_blocks.size());
}

int ScriptedMachine::loadedLibraries() const
{
    const std::lock_guard lock(m_mutex);
    return m_loadedLibraries;
}

int ScriptedMachine::misuses() const
{
    const std::lock_guard lock(m_mutex);
    return m_misuses;
}

// Last error and handles.

DWORD ScriptedMachine::GetLastError()
{
    return lastError;
}

void ScriptedMachine::SetLastError(DWORD dwErrCode)
{
    lastError = dwErrCode;
}

HANDLE ScriptedMachine::CreateEventW(void *, BOOL, BOOL, const WCHAR *)
{
    return open(Kind::Event);
}

DWORD ScriptedMachine::WaitForSingleObject(HANDLE hHandle, DWORD)
{
    if (!isOpen(hHandle, Kind::Event))
        return WaitFailed;
    if (chunks.isEmpty()) {
        lastError = ErrorOperationAborted;
        return WaitFailed;
    }
    return WaitObject0;
}

BOOL ScriptedMachine::CloseHandle(HANDLE hObject)
{
    if (!hObject)
        return failWith(ErrorInvalidHandle);
    for (const Kind kind : {Kind::Port, Kind::Event, Kind::ProcessHandle}) {
        bool isThis = false;
        {
            const std::lock_guard lock(m_mutex);
            const auto found = m_open.constFind(hObject);
            isThis = found != m_open.constEnd() && found.value() == kind;
        }
        if (isThis)
            return close(hObject, kind);
    }
    const std::lock_guard lock(m_mutex);
    ++m_misuses;
    return failWith(ErrorInvalidHandle);
}

// Memory.

HANDLE ScriptedMachine::GetProcessHeap()
{
    return reinterpret_cast<HANDLE>(ULONG_PTR{1});
}

void *ScriptedMachine::HeapAlloc(HANDLE, DWORD, SIZE_T dwBytes)
{
    return allocate(dwBytes);
}

BOOL ScriptedMachine::HeapFree(HANDLE, DWORD, void *lpMem)
{
    return release(lpMem);
}

void *ScriptedMachine::LocalAlloc(UINT, SIZE_T uBytes)
{
    return allocate(uBytes);
}

void *ScriptedMachine::LocalFree(void *hMem)
{
    return !hMem || release(hMem) ? nullptr : hMem;
}

// Libraries.

struct ScriptedMachine::BoundFunctions {
    static ConfigRet TMC_WINAPI locate(DEVINST *pdnDevInst, char *, ULONG, MachineHandle)
    {
        *pdnDevInst = 1;
        return ConfigSuccess;
    }

    static ConfigRet TMC_WINAPI reenumerate(DEVINST dnDevInst, ULONG, MachineHandle)
    {
        ScriptedMachine *machine = boundMachine.load();
        if (machine->whileRescanning)
            machine->whileRescanning();
        return dnDevInst == 1 ? ConfigSuccess : ConfigFailure;
    }

    static BOOL TMC_WINAPI update(HWND, const WCHAR *, const WCHAR *, DWORD, BOOL *bRebootRequired)
    {
        ScriptedMachine *machine = boundMachine.load();
        if (machine->whileUpdating)
            machine->whileUpdating();
        if (bRebootRequired)
            *bRebootRequired = machine->updateWantsReboot;
        return 1;
    }

    static void TMC_WINAPI nativeSystemInfo(SystemInfo *lpSystemInfo)
    {
        lpSystemInfo->wProcessorArchitecture = boundMachine.load()->architecture;
    }
};

HMODULE ScriptedMachine::GetModuleHandleW(const WCHAR *lpModuleName)
{
    const std::lock_guard lock(m_mutex);
    const HMODULE module = reinterpret_cast<HMODULE>(m_nextHandle);
    m_nextHandle += 0x10;
    m_libraries.insert(module, fromWide(lpModuleName));
    return module;
}

HMODULE ScriptedMachine::LoadLibraryW(const WCHAR *lpLibFileName)
{
    if (missingLibraries.contains(fromWide(lpLibFileName))) {
        lastError = ErrorModuleNotFound;
        return nullptr;
    }
    const HMODULE library = GetModuleHandleW(lpLibFileName);
    const std::lock_guard lock(m_mutex);
    ++m_loadedLibraries;
    return library;
}

FunctionAddress ScriptedMachine::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    boundMachine.store(this);
    const std::lock_guard lock(m_mutex);
    const QString library = m_libraries.value(hModule);
    const QByteArray name = lpProcName;
    if (library == "cfgmgr32.dll" && name == "CM_Locate_DevNode_ExA")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::locate);
    if (library == "cfgmgr32.dll" && name == "CM_Reenumerate_DevNode_Ex")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::reenumerate);
    if (library == "newdev.dll" && name == "UpdateDriverForPlugAndPlayDevicesW")
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::update);
    if (library == "kernel32.dll" && name == "GetNativeSystemInfo" && hasNativeSystemInfo)
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::nativeSystemInfo);
    lastError = ErrorProcedureNotFound;
    return nullptr;
}

BOOL ScriptedMachine::FreeLibrary(HMODULE hLibModule)
{
    const std::lock_guard lock(m_mutex);
    if (!m_libraries.remove(hLibModule)) {
        ++m_misuses;
        return failWith(ErrorInvalidHandle);
    }
    --m_loadedLibraries;
    lastError = 0;
    return 1;
}

// Processes.

BOOL ScriptedMachine::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                     void *lpProcessAttributes, void *lpThreadAttributes,
                                     BOOL bInheritHandles, DWORD dwCreationFlags,
                                     void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                     StartupInfo *lpStartupInfo,
                                     ProcessInformation *lpProcessInformation)
{
    startedProcesses.append({fromWide(lpApplicationName), fromWide(lpCommandLine),
                             bInheritHandles != 0, dwCreationFlags, lpCurrentDirectory != nullptr,
                             !lpProcessAttributes && !lpThreadAttributes && !lpEnvironment,
                             *lpStartupInfo});
    // The system is free to write into the command line; so does this one.
    lpCommandLine[0] = 'i';
    lpProcessInformation->hProcess = open(Kind::ProcessHandle);
    lpProcessInformation->hThread = open(Kind::ProcessHandle);
    return 1;
}

// Remote access.

DWORD ScriptedMachine::RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                                           DWORD *lpcConnections)
{
    enumeratedSize = lprasconn[0].dwSize;
    enumeratedBytes = *lpcb;
    enumeratedCount = *lpcConnections;
    const auto *bytes = reinterpret_cast<const char *>(lprasconn);
    enumerationBufferWasZero =
        std::all_of(bytes + sizeof(DWORD), bytes + *lpcb, [](char byte) { return byte == 0; });
    if (lprasconn[0].dwSize != RasConnectionSize)
        return RasErrorInvalidSize;
    const DWORD needed = static_cast<DWORD>(connections.size()) * DWORD{sizeof(RasConnection)};
    const DWORD given = *lpcb;
    *lpcb = needed;
    *lpcConnections = static_cast<DWORD>(connections.size());
    if (given < needed)
        return RasErrorBufferTooSmall;
    for (int i = 0; i < connections.size(); ++i) {
        lprasconn[i].dwSize = RasConnectionSize;
        lprasconn[i].hrasconn = connections.at(i).handle;
        setField(lprasconn[i].szEntryName, connections.at(i).entryName);
    }
    return Success;
}

DWORD ScriptedMachine::RasHangUpW(RasConnectionHandle hrasconn)
{
    hungUp.append(hrasconn);
    const auto found =
        std::find_if(connections.begin(), connections.end(),
                     [=](const Connection &connection) { return connection.handle == hrasconn; });
    if (found == connections.end())
        return RasErrorInvalidHandle;
    connections.erase(found);
    // A test's own connection has no handle of this machine.
    const std::lock_guard lock(m_mutex);
    if (m_open.value(hrasconn, Kind::Key) == Kind::Connection)
        m_open.remove(hrasconn);
    return Success;
}

BOOL ScriptedMachine::RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                                  RasDialDialog *lpInfo)
{
    dials.append(
        {fromWide(lpszEntry), fromWide(lpszPhoneNumber), lpszPhonebook == nullptr, *lpInfo});
    if (whileDialling)
        whileDialling();
    if (!dialSucceeds) {
        lpInfo->dwError = RasErrorNoAnswer;
        return 0;
    }
    connections.append({fromWide(lpszEntry), open(Kind::Connection)});
    return 1;
}

DWORD ScriptedMachine::RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
{
    const DWORD needed = static_cast<DWORD>(rasDevices.size()) * RasDeviceInfoSize;
    const DWORD given = lpRasDevInfo ? *lpcb : 0;
    *lpcb = needed;
    *lpcDevices = static_cast<DWORD>(rasDevices.size());
    if (given < needed)
        return RasErrorBufferTooSmall;
    if (needed == 0)
        return Success;
    if (lpRasDevInfo[0].dwSize != RasDeviceInfoSize)
        return RasErrorInvalidSize;
    for (int i = 0; i < rasDevices.size(); ++i) {
        lpRasDevInfo[i].dwSize = RasDeviceInfoSize;
        setField(lpRasDevInfo[i].szDeviceType, rasDevices.at(i).type);
        setField(lpRasDevInfo[i].szDeviceName, rasDevices.at(i).name);
    }
    return Success;
}

DWORD ScriptedMachine::RasGetEntryPropertiesW(const WCHAR *, const WCHAR *lpszEntry,
                                              RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                              BYTE *, DWORD *)
{
    if (!lpszEntry || lpszEntry[0] != 0)
        return RasErrorEntryNotFound;
    if (!lpRasEntry || *lpdwEntryInfoSize < entryInfoSize) {
        *lpdwEntryInfoSize = entryInfoSize;
        return RasErrorBufferTooSmall;
    }
    if (lpRasEntry->dwSize != RasEntrySize)
        return RasErrorInvalidSize;
    lpRasEntry->dwfOptions = defaultEntryOptions;
    // The fields that the program sets are not empty before.
    setField(lpRasEntry->szDeviceType, "default device type");
    setField(lpRasEntry->szDeviceName, "default device name that is a long one");
    setField(lpRasEntry->szLocalPhoneNumber, "0123456789");
    lpRasEntry->dwIdleDisconnectSeconds = 4711;
    return Success;
}

DWORD ScriptedMachine::RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                              RasEntry *lpRasEntry, DWORD dwEntryInfoSize,
                                              BYTE *lpbDeviceInfo, DWORD dwDeviceInfoSize)
{
    storedEntries.append({fromWide(lpszEntry), *lpRasEntry, dwEntryInfoSize,
                          lpszPhonebook == nullptr, !lpbDeviceInfo && dwDeviceInfoSize == 0});
    return Success;
}

// Registry.

LONG ScriptedMachine::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD, DWORD dwType,
                                     const BYTE *lpData, DWORD cbData)
{
    if (!isOpen(hKey, Kind::Key))
        return static_cast<LONG>(ErrorInvalidHandle);
    registryWrites.append(
        {fromWide(lpValueName), dwType,
         QByteArray(reinterpret_cast<const char *>(lpData), static_cast<int>(cbData))});
    return 0;
}

LONG ScriptedMachine::RegCloseKey(HKEY hKey)
{
    return close(hKey, Kind::Key) ? 0 : static_cast<LONG>(ErrorInvalidHandle);
}

// The COM port.

HANDLE ScriptedMachine::CreateFileW(const WCHAR *lpFileName, DWORD, DWORD, void *, DWORD, DWORD,
                                    HANDLE)
{
    openedPath = fromWide(lpFileName);
    return open(Kind::Port);
}

BOOL ScriptedMachine::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    if (!isOpen(hFile, Kind::Port))
        return 0;
    stateQuery = *lpDCB;
    *lpDCB = lineSettings;
    return 1;
}

BOOL ScriptedMachine::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    if (!isOpen(hFile, Kind::Port))
        return 0;
    lineSettings = *lpDCB;
    return 1;
}

BOOL ScriptedMachine::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    if (!isOpen(hFile, Kind::Port))
        return 0;
    timeouts = *lpCommTimeouts;
    return 1;
}

BOOL ScriptedMachine::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    if (!isOpen(hFile, Kind::Port))
        return 0;
    eventMask = dwEvtMask;
    return 1;
}

BOOL ScriptedMachine::WaitCommEvent(HANDLE hFile, DWORD *, Overlapped *lpOverlapped)
{
    if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event))
        return 0;
    return failWith(ErrorIoPending);
}

BOOL ScriptedMachine::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                               DWORD *lpNumberOfBytesRead, Overlapped *)
{
    *lpNumberOfBytesRead = 0;
    if (!isOpen(hFile, Kind::Port) || chunks.isEmpty())
        return 0;
    const QByteArray chunk = chunks.takeFirst();
    if (static_cast<DWORD>(chunk.size()) > nNumberOfBytesToRead)
        qFatal("a scripted chunk is larger than the reader's buffer");
    std::memcpy(lpBuffer, chunk.constData(), static_cast<std::size_t>(chunk.size()));
    *lpNumberOfBytesRead = static_cast<DWORD>(chunk.size());
    return 1;
}

BOOL ScriptedMachine::WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                                DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
{
    if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event))
        return 0;
    written.append(static_cast<const char *>(lpBuffer), static_cast<int>(nNumberOfBytesToWrite));
    if (writesArePending) {
        m_pendingWrite = nNumberOfBytesToWrite;
        return failWith(ErrorIoPending);
    }
    *lpNumberOfBytesWritten = nNumberOfBytesToWrite;
    return 1;
}

BOOL ScriptedMachine::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                          DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event) || !bWait)
        return 0;
    *lpNumberOfBytesTransferred = m_pendingWrite;
    return 1;
}

// Device installation.

BOOL ScriptedMachine::SetupCopyOEMInfW(const WCHAR *SourceInfFileName, const WCHAR *, DWORD, DWORD,
                                       WCHAR *, DWORD, DWORD *, WCHAR **)
{
    copiedInf = fromWide(SourceInfFileName);
    return 1;
}

BOOL ScriptedMachine::SetupDiGetINFClassW(const WCHAR *, Guid *ClassGuid, WCHAR *ClassName,
                                          DWORD ClassNameSize, DWORD *)
{
    *ClassGuid = {0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
    copyToBuffer(infClass, ClassName, static_cast<int>(ClassNameSize));
    return 1;
}

HDEVINFO ScriptedMachine::SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *, HWND, DWORD)
{
    if (!(*ClassGuid == PortsClassGuid)) {
        lastError = ErrorInvalidParameter;
        return invalidHandle();
    }
    return open(Kind::DeviceSet);
}

HDEVINFO ScriptedMachine::SetupDiCreateDeviceInfoList(const Guid *, HWND)
{
    return open(Kind::DeviceSet);
}

BOOL ScriptedMachine::SetupDiDestroyDeviceInfoList(HDEVINFO DeviceInfoSet)
{
    return close(DeviceInfoSet, Kind::DeviceSet);
}

BOOL ScriptedMachine::SetupDiEnumDeviceInfo(HDEVINFO DeviceInfoSet, DWORD MemberIndex,
                                            DeviceInfoData *deviceInfoData)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    if (deviceInfoData->cbSize != sizeof(DeviceInfoData))
        return failWith(ErrorInvalidParameter);
    if (MemberIndex >= static_cast<DWORD>(ports.size()))
        return failWith(enumerationEnd);
    deviceInfoData->DevInst = MemberIndex + 1;
    return 1;
}

BOOL ScriptedMachine::SetupDiGetDeviceRegistryPropertyW(
    HDEVINFO DeviceInfoSet, DeviceInfoData *deviceInfoData, DWORD, DWORD *PropertyRegDataType,
    BYTE *PropertyBuffer, DWORD PropertyBufferSize, DWORD *RequiredSize)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    const Port &port = ports.at(static_cast<int>(deviceInfoData->DevInst) - 1);
    if (!port.readable)
        return failWith(ErrorInvalidData);
    const DWORD needed = (static_cast<DWORD>(port.name.size()) + 1) * 2;
    *PropertyRegDataType = RegistryString;
    *RequiredSize = needed;
    if (!PropertyBuffer || PropertyBufferSize < needed)
        return failWith(ErrorInsufficientBuffer);
    std::memcpy(PropertyBuffer, port.name.utf16(), needed);
    return 1;
}

BOOL ScriptedMachine::SetupDiSetDeviceRegistryPropertyW(HDEVINFO DeviceInfoSet, DeviceInfoData *,
                                                        DWORD, const BYTE *PropertyBuffer,
                                                        DWORD PropertyBufferSize)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    hardwareId = QByteArray(reinterpret_cast<const char *>(PropertyBuffer),
                            static_cast<int>(PropertyBufferSize));
    return 1;
}

BOOL ScriptedMachine::SetupDiCreateDeviceInfoW(HDEVINFO DeviceInfoSet, const WCHAR *, const Guid *,
                                               const WCHAR *, HWND, DWORD,
                                               DeviceInfoData *deviceInfoData)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    if (deviceInfoData->cbSize != sizeof(DeviceInfoData))
        return failWith(ErrorInvalidParameter);
    return 1;
}

BOOL ScriptedMachine::SetupDiGetDeviceInstanceIdW(HDEVINFO DeviceInfoSet, DeviceInfoData *,
                                                  WCHAR *DeviceInstanceId,
                                                  DWORD DeviceInstanceIdSize, DWORD *RequiredSize)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    const DWORD needed = std::max(instanceIdRequired, static_cast<DWORD>(generatedId.size()) + 1);
    *RequiredSize = needed;
    if (DeviceInstanceIdSize < needed)
        return failWith(ErrorInsufficientBuffer);
    copyToBuffer(generatedId, DeviceInstanceId, static_cast<int>(DeviceInstanceIdSize));
    return 1;
}

BOOL ScriptedMachine::SetupDiRegisterDeviceInfo(HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD,
                                                void *, void *, DeviceInfoData *)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    ++registrations;
    return 1;
}

BOOL ScriptedMachine::SetupDiCallClassInstaller(UINT InstallFunction, HDEVINFO DeviceInfoSet,
                                                DeviceInfoData *)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    if (InstallFunction == FunctionRemove)
        ++removals;
    return 1;
}

HKEY ScriptedMachine::SetupDiOpenDevRegKey(HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD, DWORD,
                                           DWORD, DWORD)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return invalidHandle();
    if (driverKeyExists)
        return open(Kind::Key);
    lastError = ErrorKeyDoesNotExist;
    return invalidHandle();
}

HKEY ScriptedMachine::SetupDiCreateDevRegKeyW(HDEVINFO DeviceInfoSet, DeviceInfoData *, DWORD,
                                              DWORD, DWORD, void *, const WCHAR *)
{
    return isOpen(DeviceInfoSet, Kind::DeviceSet) ? open(Kind::Key) : invalidHandle();
}

BOOL ScriptedMachine::SetupDiGetSelectedDriverW(HDEVINFO DeviceInfoSet, DeviceInfoData *,
                                                DriverInfoData *driverInfoData)
{
    if (!isOpen(DeviceInfoSet, Kind::DeviceSet))
        return 0;
    selectedDriverSize = driverInfoData->cbSize;
    return selectedDriver ? 1 : failWith(ErrorInvalidParameter);
}

// System.

BOOL ScriptedMachine::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    if (lpVersionInformation->dwOSVersionInfoSize != sizeof(OsVersionInfoEx))
        return failWith(ErrorInsufficientBuffer);
    *lpVersionInformation = version;
    lpVersionInformation->dwOSVersionInfoSize = sizeof(OsVersionInfoEx);
    return 1;
}

int ScriptedMachine::GetSystemMetrics(int nIndex)
{
    return nIndex == MetricServerR2 ? serverR2 : 0;
}

void ScriptedMachine::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    lpSystemInfo->wProcessorArchitecture = emulatedArchitecture;
}
