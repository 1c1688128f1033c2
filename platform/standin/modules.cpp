#include "platform/standin/modules.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <atomic>
#include <cstring>

namespace platform {

namespace {

struct Library {
    const char *name;
    bool permanent; ///< part of every process, never unloaded
    std::atomic<int> uses{0};
};

Library libraries[] = {
    {"kernel32.dll", true}, {"user32.dll", true},   {"advapi32.dll", true}, {"cfgmgr32.dll", false},
    {"newdev.dll", false},  {"setupapi.dll", true}, {"rasapi32.dll", true}, {"rasdlg.dll", true},
};

/// A name without an extension means a ".dll", as for Windows' loader.
Library *findLibrary(const WCHAR *name)
{
    QString wanted = name ? fromWide(name).toLower() : QString();
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

HMODULE missingModule()
{
    setLastError(ErrorModuleNotFound);
    return nullptr;
}

/// A plain function that calls a slot of the current platform, so that a
/// decorator around that platform sees the call.
template<auto Slot> struct Door;
template<typename Api, typename Result, typename... Arguments,
         Operation<Result(Arguments...)> Api::*Slot>
struct Door<Slot> {
    static Result TMC_WINAPI open(Arguments... arguments)
    {
        return (current().*Slot)(arguments...);
    }
};

template<auto Slot> FunctionAddress door()
{
    return reinterpret_cast<FunctionAddress>(&Door<Slot>::open);
}

const struct {
    const char *library;
    const char *name;
    FunctionAddress address;
} exportedFunctions[] = {
    {"cfgmgr32.dll", "CM_Locate_DevNode_ExA", door<&ConfigManager::CM_Locate_DevNode_ExA>()},
    {"cfgmgr32.dll", "CM_Reenumerate_DevNode_Ex",
     door<&ConfigManager::CM_Reenumerate_DevNode_Ex>()},
    {"kernel32.dll", "GetNativeSystemInfo", door<&SystemInformation::GetNativeSystemInfo>()},
    {"newdev.dll", "UpdateDriverForPlugAndPlayDevicesW",
     door<&NewDev::UpdateDriverForPlugAndPlayDevicesW>()},
};

HMODULE GetModuleHandleW(const WCHAR *lpModuleName)
{
    if (!lpModuleName) {
        failUnsupported("GetModuleHandleW", "the program's own module");
        return nullptr;
    }
    Library *library = loadedLibrary(findLibrary(lpModuleName));
    return library ? library : missingModule();
}

HMODULE LoadLibraryW(const WCHAR *lpLibFileName)
{
    Library *library = findLibrary(lpLibFileName);
    if (!library)
        return missingModule();
    ++library->uses;
    return library;
}

BOOL FreeLibrary(HMODULE hLibModule)
{
    Library *library = loadedLibrary(hLibModule);
    if (!library)
        return fail(ErrorInvalidHandle);
    if (library->uses > 0)
        --library->uses;
    setLastError(Success); // as on Windows, where unloading makes calls of its own
    return 1;
}

} // namespace

FunctionAddress exportedFunction(const QString &library, const char *name)
{
    for (const auto &function : exportedFunctions) {
        if (name && library == function.library && std::strcmp(function.name, name) == 0)
            return function.address;
    }
    return nullptr;
}

void provideModules(Platform *platform, const std::function<bool(const char *function)> &exports)
{
    platform->GetModuleHandleW = GetModuleHandleW;
    platform->LoadLibraryW = LoadLibraryW;
    platform->GetProcAddress = [exports](HMODULE hModule, const char *lpProcName) {
        const Library *library = loadedLibrary(hModule);
        FunctionAddress address = nullptr;
        if (library && (!exports || exports(lpProcName)))
            address = exportedFunction(library->name, lpProcName);
        if (!address)
            setLastError(library ? ErrorProcedureNotFound : ErrorInvalidHandle);
        return address;
    };
    platform->FreeLibrary = FreeLibrary;
}

} // namespace platform
