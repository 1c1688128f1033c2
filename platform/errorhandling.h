#pragma once

#include "platform/types.h"

namespace platform {

/// The calling thread's last-error code (kernel32). Take GetLastError into a
/// variable straight after the call that failed: streaming a debug line or
/// freeing a library overwrites it on Windows.
class ErrorHandling
{
public:
    virtual ~ErrorHandling() = default;

    /// The code that the last failing operation left on this thread.
    virtual DWORD GetLastError() = 0;

    /// Replaces this thread's code.
    virtual void SetLastError(DWORD dwErrCode) = 0;
};

} // namespace platform
