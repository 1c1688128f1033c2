#pragma once

#include "platform/linux/comports.h"
#include "platform/linux/deviceinstallation.h"
#include "platform/linux/processes.h"
#include "platform/linux/remoteaccess.h"
#include "platform/linux/systemfacts.h"
#include "platform/linux/systemlibraries.h"
#include "platform/posix/composedplatform.h"
#include "platform/posix/posixmemory.h"

namespace platform {

/// The parts of the Linux backend; a base class so that they exist before the
/// platform that is put together from them.
struct LinuxParts {
    explicit LinuxParts(const SystemPaths &paths);

    StateStore store;
    ComPorts ports;
    PosixMemory memory;
    Processes processes;
    DeviceInstallation installation;
    SystemLibraries libraries;
    RemoteAccess remoteAccess;
    SystemFacts facts;
};

/// The program's operating system on a Linux desktop: udev, serial lines, pppd.
class LinuxPlatform : private LinuxParts, public ComposedPlatform
{
public:
    explicit LinuxPlatform(const SystemPaths &paths);
};

} // namespace platform
