#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD WaitObject0 = 0;           ///< WAIT_OBJECT_0: signalled
inline constexpr DWORD WaitFailed = 0xFFFFFFFF;   ///< WAIT_FAILED
inline constexpr DWORD WaitInfinite = 0xFFFFFFFF; ///< INFINITE

/// Handles and events (kernel32). Any thread.
struct KernelObjects : Family {
    /// A new event owned by the caller until CloseHandle; null on failure.
    Operation<HANDLE(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                     const WCHAR *lpName)>
        CreateEventW{this, "CreateEventW"};

    /// Waits at most dwMilliseconds for the handle; WaitObject0 when it is
    /// signalled, WaitFailed (with GetLastError) when waiting is impossible.
    Operation<DWORD(HANDLE hHandle, DWORD dwMilliseconds)> WaitForSingleObject{
        this, "WaitForSingleObject", WaitFailed};

    /// Closes a port, event, process or thread handle; zero for one that is
    /// not open (6).
    Operation<BOOL(HANDLE hObject)> CloseHandle{this, "CloseHandle"};
};

} // namespace platform
