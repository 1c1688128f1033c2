#pragma once

#include "platform/types.h"

namespace platform {

/// The Windows code for an errno value left by a device or a file.
DWORD errorFromErrno(int number);

} // namespace platform
