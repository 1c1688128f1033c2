#include "platform/linux/systemlibraries.h"

#include "platform/configmanager.h"
#include "platform/linux/devicerescan.h"
#include "platform/linux/systemfacts.h"
#include "platform/newdev.h"
#include "platform/posix/lasterror.h"
#include "platform/text.h"

#include <cstring>

namespace platform {

namespace {

struct Library {
    const char *name;
    bool permanent; ///< part of every process, never freed
    std::atomic<int> uses{0};
};

Library libraries[] = {{"kernel32.dll", true}, {"cfgmgr32.dll", false}, {"newdev.dll", false}};

std::atomic<DeviceInstallation *> currentInstallation{nullptr};

Library *findLibrary(const WCHAR *name)
{
    const QString wanted = name ? fromWide(name).toLower() : QString();
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

HMODULE missingModule()
{
    setLastError(ErrorModuleNotFound);
    return nullptr;
}

ConfigRet locateDevNode(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags, MachineHandle hMachine)
{
    if (!pdnDevInst)
        return ConfigFailure;
    if (pDeviceID || ulFlags != LocateNormal || hMachine) {
        failUnsupported("CM_Locate_DevNode_ExA", "nodes other than the root");
        return ConfigFailure;
    }
    *pdnDevInst = RootDevNode;
    return ConfigSuccess;
}

ConfigRet reenumerateDevNode(DEVINST dnDevInst, ULONG ulFlags, MachineHandle hMachine)
{
    if (dnDevInst != RootDevNode)
        return ConfigInvalidDevNode;
    if (ulFlags != ReenumerateNormal || hMachine) {
        failUnsupported("CM_Reenumerate_DevNode_Ex", "these flags or another machine");
        return ConfigFailure;
    }
    return rescanSerialDevices();
}

BOOL updateDriver(HWND, const WCHAR *HardwareId, const WCHAR *FullInfPath, DWORD InstallFlags,
                  BOOL *bRebootRequired)
{
    return currentInstallation.load()->updateDriver(HardwareId, FullInfPath, InstallFlags,
                                                    bRebootRequired);
}

void nativeSystemInfo(SystemInfo *lpSystemInfo)
{
    SystemFacts().GetSystemInfo(lpSystemInfo);
}

template<class Function> FunctionAddress address(Function *function)
{
    return reinterpret_cast<FunctionAddress>(function);
}

} // namespace

SystemLibraries::SystemLibraries(DeviceInstallation *installation)
{
    currentInstallation = installation;
}

HMODULE SystemLibraries::GetModuleHandleW(const WCHAR *lpModuleName)
{
    if (!lpModuleName) {
        failUnsupported("GetModuleHandleW", "the program's own module");
        return nullptr;
    }
    Library *library = loadedLibrary(findLibrary(lpModuleName));
    return library ? library : missingModule();
}

HMODULE SystemLibraries::LoadLibraryW(const WCHAR *lpLibFileName)
{
    Library *library = findLibrary(lpLibFileName);
    if (!library)
        return missingModule();
    ++library->uses;
    return library;
}

FunctionAddress SystemLibraries::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    const Library *library = loadedLibrary(hModule);
    if (!library) {
        setLastError(ErrorInvalidHandle);
        return nullptr;
    }
    const struct {
        const char *library;
        const char *name;
        FunctionAddress function;
    } functions[] = {
        {"cfgmgr32.dll", "CM_Locate_DevNode_ExA", address(&locateDevNode)},
        {"cfgmgr32.dll", "CM_Reenumerate_DevNode_Ex", address(&reenumerateDevNode)},
        {"newdev.dll", "UpdateDriverForPlugAndPlayDevicesW", address(&updateDriver)},
        {"kernel32.dll", "GetNativeSystemInfo", address(&nativeSystemInfo)},
    };
    for (const auto &function : functions) {
        if (lpProcName && std::strcmp(function.library, library->name) == 0 &&
            std::strcmp(function.name, lpProcName) == 0)
            return function.function;
    }
    setLastError(ErrorProcedureNotFound);
    return nullptr;
}

BOOL SystemLibraries::FreeLibrary(HMODULE hLibModule)
{
    Library *library = loadedLibrary(hLibModule);
    if (!library)
        return fail(ErrorInvalidHandle);
    if (library->uses > 0)
        --library->uses;
    return 1;
}

} // namespace platform
