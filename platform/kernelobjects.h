#pragma once

#include "platform/types.h"

namespace platform {

inline constexpr DWORD WaitObject0 = 0;           ///< WAIT_OBJECT_0: signalled
inline constexpr DWORD WaitFailed = 0xFFFFFFFF;   ///< WAIT_FAILED
inline constexpr DWORD WaitInfinite = 0xFFFFFFFF; ///< INFINITE

/// Handles and events (kernel32). Any thread.
class KernelObjects
{
public:
    virtual ~KernelObjects() = default;

    /// A new event owned by the caller until CloseHandle; null on failure.
    virtual HANDLE CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                                const WCHAR *lpName) = 0;

    /// Waits at most dwMilliseconds for the handle; WaitObject0 when it is
    /// signalled, WaitFailed (with GetLastError) when waiting is impossible.
    virtual DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) = 0;

    /// Closes a port, event, process or thread handle; zero for one that is
    /// not open (6).
    virtual BOOL CloseHandle(HANDLE hObject) = 0;
};

} // namespace platform
