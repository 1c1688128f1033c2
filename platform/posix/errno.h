#pragma once

#include "platform/types.h"

namespace platform {

/// The Windows error code for the errno value of a call on a device or a file.
DWORD errorFromErrno(int number);

} // namespace platform
