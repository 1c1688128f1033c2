#pragma once

#include "platform/configmanager.h"

#include <chrono>

namespace platform::linuxsystem {

/// Lets udev look at every serial line again with its present rules. Waits
/// until udev has done so, at most the given time. ConfigSuccess,
/// ConfigAccessDenied without administrator rights, ConfigFailure when udev is
/// not there or not done in time. Any thread.
ConfigRet rescanSerialDevices(std::chrono::milliseconds patience = std::chrono::seconds(10));

} // namespace platform::linuxsystem
