#pragma once

#include "platform/types.h"

// The calling thread's last-error code, for every backend off Windows.
namespace platform {

struct Platform;

/// GetLastError and SetLastError, over the functions below.
void provideErrorHandling(Platform *platform);

/// The code that the last failing operation left on this thread.
DWORD lastError();

/// Replaces this thread's code.
void setLastError(DWORD code);

/// Sets the code and gives the zero that a failing BOOL operation returns.
BOOL fail(DWORD code);

/// Says on standard error that the operation was asked for something that the
/// backend does not have, and fails with ErrorNotSupported: never a quiet
/// success.
BOOL failUnsupported(const char *operation, const char *what);

} // namespace platform
