#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD WaitObject0 = 0;           ///< WAIT_OBJECT_0: signalled
inline constexpr DWORD WaitTimeout = 258;         ///< WAIT_TIMEOUT: not signalled in time
inline constexpr DWORD WaitFailed = 0xFFFFFFFF;   ///< WAIT_FAILED
inline constexpr DWORD WaitInfinite = 0xFFFFFFFF; ///< INFINITE

/// Handles and events (kernel32). Any thread.
struct KernelObjects : Family {
    /// A new event owned by the caller until CloseHandle; null on failure. One
    /// with a name is shared by everybody who asks for that name and may use it
    /// (5 if not), for as long as somebody has it open, whatever becomes of its
    /// maker; the name begins with "Local\" and counts within the session. When
    /// it was there already the last error is 183, else 0. Null attributes let
    /// the system choose who may use it.
    Operation<HANDLE(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                     const WCHAR *lpName)>
        CreateEventW{this, "CreateEventW"};

    /// Signals the event; zero for a handle that is not an event's (6).
    Operation<BOOL(HANDLE hEvent)> SetEvent{this, "SetEvent"};

    /// Waits at most dwMilliseconds for the handle; WaitObject0 when it is
    /// signalled, WaitTimeout when it was not, WaitFailed (with GetLastError) when waiting is
    /// impossible.
    Operation<DWORD(HANDLE hHandle, DWORD dwMilliseconds)> WaitForSingleObject{
        this, "WaitForSingleObject", WaitFailed};

    /// Closes a port, event, process or thread handle; zero for one that is
    /// not open (6).
    Operation<BOOL(HANDLE hObject)> CloseHandle{this, "CloseHandle"};
};

} // namespace platform
