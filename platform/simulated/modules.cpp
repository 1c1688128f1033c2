#include "platform/newdev.h"
#include "platform/posix/lasterror.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedsystem.h"
#include "platform/text.h"

#include <atomic>
#include <cstring>

namespace platform {

namespace {

/// A library of the simulated system. Loaded libraries belong to the process,
/// whichever PC was asked for them.
struct Library {
    const char *name;
    bool permanent; ///< part of every process
    std::atomic<int> uses{0};
};

Library libraries[] = {
    {"kernel32.dll", true}, {"user32.dll", true},   {"advapi32.dll", true}, {"cfgmgr32.dll", false},
    {"newdev.dll", false},  {"setupapi.dll", true}, {"rasapi32.dll", true}, {"rasdlg.dll", true},
};

Library *findLibrary(const WCHAR *name)
{
    QString wanted = fromWide(name).toLower();
    if (!wanted.contains('.'))
        wanted += ".dll";
    for (Library &library : libraries) {
        if (wanted == library.name)
            return &library;
    }
    return nullptr;
}

/// The library behind a handle; null when it is none or not loaded.
Library *loadedLibrary(HMODULE handle)
{
    for (Library &library : libraries) {
        if (&library == handle && (library.permanent || library.uses > 0))
            return &library;
    }
    return nullptr;
}

/// The PC whose functions were bound last.
std::atomic<SimulatedSystem *> boundPc{nullptr};

} // namespace

struct SimulatedSystem::BoundFunctions {
    static ConfigRet locateDevNode(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                                   MachineHandle hMachine)
    {
        return boundPc.load()->locateDevNode(pdnDevInst, pDeviceID, ulFlags, hMachine);
    }
    static ConfigRet reenumerateDevNode(DEVINST dnDevInst, ULONG ulFlags, MachineHandle hMachine)
    {
        return boundPc.load()->reenumerateDevNode(dnDevInst, ulFlags, hMachine);
    }
    static BOOL updateDriver(HWND, const WCHAR *hardwareId, const WCHAR *fullInfPath,
                             DWORD installFlags, BOOL *rebootRequired)
    {
        return boundPc.load()->updateDriver(hardwareId, fullInfPath, installFlags, rebootRequired);
    }
    static void getNativeSystemInfo(SystemInfo *lpSystemInfo)
    {
        boundPc.load()->GetSystemInfo(lpSystemInfo);
    }
};

HMODULE SimulatedSystem::GetModuleHandleW(const WCHAR *lpModuleName)
{
    if (!lpModuleName) {
        failUnsupported("GetModuleHandleW", "the program's own module");
        return nullptr;
    }
    HMODULE loaded = loadedLibrary(findLibrary(lpModuleName));
    if (!loaded)
        setLastError(ErrorModuleNotFound);
    return loaded;
}

HMODULE SimulatedSystem::LoadLibraryW(const WCHAR *lpLibFileName)
{
    Library *library = lpLibFileName ? findLibrary(lpLibFileName) : nullptr;
    if (!library) {
        setLastError(ErrorModuleNotFound);
        return nullptr;
    }
    ++library->uses;
    return library;
}

FunctionAddress SimulatedSystem::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    const Library *library = loadedLibrary(hModule);
    if (!library) {
        setLastError(ErrorInvalidHandle);
        return nullptr;
    }
    boundPc = this;
    const auto isFunction = [&](const char *file, const char *name) {
        return std::strcmp(library->name, file) == 0 && std::strcmp(lpProcName, name) == 0;
    };
    if (isFunction("cfgmgr32.dll", "CM_Locate_DevNode_ExA"))
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::locateDevNode);
    if (isFunction("cfgmgr32.dll", "CM_Reenumerate_DevNode_Ex"))
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::reenumerateDevNode);
    if (isFunction("newdev.dll", "UpdateDriverForPlugAndPlayDevicesW"))
        return reinterpret_cast<FunctionAddress>(&BoundFunctions::updateDriver);
    if (isFunction("kernel32.dll", "GetNativeSystemInfo")) {
        const simulated::MachineSession session(m_directory);
        if (session.state.windows.nativeSystemInfo)
            return reinterpret_cast<FunctionAddress>(&BoundFunctions::getNativeSystemInfo);
    }
    setLastError(ErrorProcedureNotFound);
    return nullptr;
}

BOOL SimulatedSystem::FreeLibrary(HMODULE hLibModule)
{
    Library *library = loadedLibrary(hLibModule);
    if (!library)
        return fail(ErrorInvalidHandle);
    if (library->uses > 0)
        --library->uses;
    setLastError(Success); // as on Windows: unloading asks for more than it seems
    return 1;
}

} // namespace platform
