#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD AnyProcess = 0xFFFFFFFF; ///< ASFW_ANY

/// Who may put a window in front of the others (user32). Any thread.
struct Foreground : Family {
    /// Hands the right to put a window in front on to another process, until the
    /// user's next key or click. Zero when this process has not got the right
    /// itself (5), or where there is no such right (50).
    Operation<BOOL(DWORD dwProcessId)> AllowSetForegroundWindow{this, "AllowSetForegroundWindow"};
};

} // namespace platform
