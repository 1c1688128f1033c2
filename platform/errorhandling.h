#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

/// The calling thread's last-error code (kernel32). Take GetLastError into a
/// variable straight after the call that failed: streaming a debug line or
/// freeing a library overwrites it on Windows.
struct ErrorHandling : Family {
    /// The code that the last failing operation left on this thread.
    Operation<DWORD()> GetLastError{this, "GetLastError", FailureCode::None};

    /// Replaces this thread's code.
    Operation<void(DWORD dwErrCode)> SetLastError{this, "SetLastError", FailureCode::None};
};

} // namespace platform
