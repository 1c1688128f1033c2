#include "tests/support/scriptedmachine.h"

#include "platform/standin/lasterror.h"
#include "platform/standin/modules.h"
#include "platform/text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

using namespace platform;

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
    setLastError(Success);
    provideErrorHandling(this);
    provideHandles();
    provideMemory();
    provideLibraries();
    provideProcesses();
    provideRemoteAccess();
    provideRegistry();
    provideSerialPort();
    provideDeviceInstallation();
    provideSystem();
}

ScriptedMachine::~ScriptedMachine()
{
    for (void *block : std::as_const(m_blocks))
        std::free(block);
}

void ScriptedMachine::clearLastErrorOfThread()
{
    setLastError(0);
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
    setLastError(ErrorInvalidHandle);
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

void ScriptedMachine::provideHandles()
{
    CreateEventW = [this](void *lpEventAttributes, BOOL, BOOL, const WCHAR *lpName) -> HANDLE {
        if (lpName) {
            const std::lock_guard lock(m_mutex);
            eventNames.append(fromWide(lpName));
            const auto *attributes = static_cast<const SecurityAttributes *>(lpEventAttributes);
            eventHasRights = attributes && attributes->nLength == sizeof *attributes &&
                             attributes->lpSecurityDescriptor && !attributes->bInheritHandle;
            setLastError(namesAreTaken ? ErrorAlreadyExists : Success);
        }
        return open(Kind::Event);
    };

    SetEvent = [this](HANDLE hEvent) -> BOOL {
        if (!isOpen(hEvent, Kind::Event))
            return 0;
        const std::lock_guard lock(m_mutex);
        ++signalled;
        return 1;
    };

    AllowSetForegroundWindow = [this](DWORD dwProcessId) -> BOOL {
        foregroundGivenTo = dwProcessId;
        return 1;
    };

    ConvertStringSecurityDescriptorToSecurityDescriptorW =
        [this](const WCHAR *text, DWORD, void **descriptor, ULONG *) -> BOOL {
        {
            const std::lock_guard lock(m_mutex);
            rights = fromWide(text);
        }
        *descriptor = allocate(1);
        return 1;
    };

    IsUserAnAdmin = [this]() -> BOOL { return administrator; };

    WaitForSingleObject = [this](HANDLE hHandle, DWORD) -> DWORD {
        if (!isOpen(hHandle, Kind::Event))
            return WaitFailed;
        if (chunks.isEmpty()) {
            setLastError(ErrorOperationAborted);
            return WaitFailed;
        }
        return WaitObject0;
    };

    CloseHandle = [this](HANDLE hObject) -> BOOL {
        if (!hObject)
            return fail(ErrorInvalidHandle);
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
        return fail(ErrorInvalidHandle);
    };
}

void ScriptedMachine::provideMemory()
{
    GetProcessHeap = [this]() -> HANDLE { return reinterpret_cast<HANDLE>(ULONG_PTR{1}); };

    HeapAlloc = [this](HANDLE, DWORD, SIZE_T dwBytes) -> void * { return allocate(dwBytes); };

    HeapFree = [this](HANDLE, DWORD, void *lpMem) -> BOOL { return release(lpMem); };

    LocalAlloc = [this](UINT, SIZE_T uBytes) -> void * { return allocate(uBytes); };

    LocalFree = [this](void *hMem) -> void * { return !hMem || release(hMem) ? nullptr : hMem; };
}

void ScriptedMachine::provideLibraries()
{
    GetModuleHandleW = [this](const WCHAR *lpModuleName) -> HMODULE {
        const std::lock_guard lock(m_mutex);
        const HMODULE module = reinterpret_cast<HMODULE>(m_nextHandle);
        m_nextHandle += 0x10;
        m_libraries.insert(module, fromWide(lpModuleName));
        return module;
    };

    LoadLibraryW = [this](const WCHAR *lpLibFileName) -> HMODULE {
        if (missingLibraries.contains(fromWide(lpLibFileName))) {
            setLastError(ErrorModuleNotFound);
            return nullptr;
        }
        const HMODULE library = GetModuleHandleW(lpLibFileName);
        const std::lock_guard lock(m_mutex);
        ++m_loadedLibraries;
        return library;
    };

    GetProcAddress = [this](HMODULE hModule, const char *lpProcName) -> FunctionAddress {
        QString library;
        {
            const std::lock_guard lock(m_mutex);
            library = m_libraries.value(hModule);
        }
        const FunctionAddress address = exportedFunction(library, lpProcName);
        const bool isThere = hasNativeSystemInfo || qstrcmp(lpProcName, "GetNativeSystemInfo") != 0;
        if (!address || !isThere) {
            setLastError(ErrorProcedureNotFound);
            return nullptr;
        }
        return address;
    };

    FreeLibrary = [this](HMODULE hLibModule) -> BOOL {
        const std::lock_guard lock(m_mutex);
        if (!m_libraries.remove(hLibModule)) {
            ++m_misuses;
            return fail(ErrorInvalidHandle);
        }
        --m_loadedLibraries;
        setLastError(0);
        return 1;
    };

    CM_Locate_DevNode_ExA = [](DEVINST *pdnDevInst, char *, ULONG, MachineHandle) {
        *pdnDevInst = 1;
        return ConfigSuccess;
    };

    CM_Reenumerate_DevNode_Ex = [this](DEVINST dnDevInst, ULONG, MachineHandle) {
        if (whileRescanning)
            whileRescanning();
        return dnDevInst == 1 ? ConfigSuccess : ConfigFailure;
    };

    UpdateDriverForPlugAndPlayDevicesW = [this](HWND, const WCHAR *, const WCHAR *, DWORD,
                                                BOOL *bRebootRequired) {
        if (whileUpdating)
            whileUpdating();
        if (bRebootRequired)
            *bRebootRequired = updateWantsReboot;
        return 1;
    };
}

void ScriptedMachine::provideProcesses()
{
    CreateProcessW = [this](const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                            void *lpProcessAttributes, void *lpThreadAttributes,
                            BOOL bInheritHandles, DWORD dwCreationFlags, void *lpEnvironment,
                            const WCHAR *lpCurrentDirectory, StartupInfo *lpStartupInfo,
                            ProcessInformation *lpProcessInformation) -> BOOL {
        startedProcesses.append(
            {fromWide(lpApplicationName), fromWide(lpCommandLine), bInheritHandles != 0,
             dwCreationFlags, lpCurrentDirectory != nullptr,
             !lpProcessAttributes && !lpThreadAttributes && !lpEnvironment, *lpStartupInfo});
        // The system is free to write into the command line; so does this one.
        lpCommandLine[0] = 'i';
        lpProcessInformation->hProcess = open(Kind::ProcessHandle);
        lpProcessInformation->hThread = open(Kind::ProcessHandle);
        return 1;
    };
}

void ScriptedMachine::provideSystem()
{
    GetVersionExW = [this](OsVersionInfoEx *lpVersionInformation) -> BOOL {
        if (lpVersionInformation->dwOSVersionInfoSize != sizeof(OsVersionInfoEx))
            return fail(ErrorInsufficientBuffer);
        *lpVersionInformation = version;
        lpVersionInformation->dwOSVersionInfoSize = sizeof(OsVersionInfoEx);
        return 1;
    };

    GetSystemMetrics = [this](int nIndex) -> int {
        return nIndex == MetricServerR2 ? serverR2 : 0;
    };

    GetSystemInfo = [this](SystemInfo *lpSystemInfo) {
        lpSystemInfo->wProcessorArchitecture = emulatedArchitecture;
    };

    GetNativeSystemInfo = [this](SystemInfo *lpSystemInfo) {
        lpSystemInfo->wProcessorArchitecture = architecture;
    };
}
