#pragma once

#include "platform/linux/systempaths.h"
#include "platform/platform.h"

namespace platform::linuxsystem {

/// The program's operating system on a Linux desktop: udev, serial lines, pppd.
class LinuxPlatform : public Platform
{
public:
    LinuxPlatform(const SystemPaths &paths, const Program &program);
};

} // namespace platform::linuxsystem
