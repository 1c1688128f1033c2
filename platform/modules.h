#pragma once

#include "platform/types.h"

namespace platform {

/// Address of an exported function, to be cast to the function's own type.
using FunctionAddress = void(TMC_WINAPI *)();

/// Run-time binding of system libraries (kernel32). Any thread.
class Modules
{
public:
    virtual ~Modules() = default;

    /// A library that is already loaded; not to be freed. Null: 126.
    virtual HMODULE GetModuleHandleW(const WCHAR *lpModuleName) = 0;

    /// Loads a library or counts one more use of it; the caller frees it with
    /// FreeLibrary. Null when it is missing (126).
    virtual HMODULE LoadLibraryW(const WCHAR *lpLibFileName) = 0;

    /// The address of an exported function; null when there is none (127).
    virtual FunctionAddress GetProcAddress(HMODULE hModule, const char *lpProcName) = 0;

    /// Gives one use of a library back; zero on failure. Clears the thread's
    /// last error on Windows.
    virtual BOOL FreeLibrary(HMODULE hLibModule) = 0;
};

} // namespace platform
