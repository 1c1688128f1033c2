#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

/// Address of an exported function, to be cast to the function's own type.
using FunctionAddress = void(TMC_WINAPI *)();

/// Run-time binding of system libraries (kernel32). Any thread.
struct Modules : Family {
    /// A library that is already loaded; not to be freed. Null: 126.
    Operation<HMODULE(const WCHAR *lpModuleName)> GetModuleHandleW{this, "GetModuleHandleW"};

    /// Loads a library or counts one more use of it; the caller frees it with
    /// FreeLibrary. Null when it is missing (126).
    Operation<HMODULE(const WCHAR *lpLibFileName)> LoadLibraryW{this, "LoadLibraryW"};

    /// The address of an exported function; null when there is none (127).
    Operation<FunctionAddress(HMODULE hModule, const char *lpProcName)> GetProcAddress{
        this, "GetProcAddress"};

    /// Gives one use of a library back; zero on failure. Clears the thread's
    /// last error on Windows.
    Operation<BOOL(HMODULE hLibModule)> FreeLibrary{this, "FreeLibrary"};
};

} // namespace platform
