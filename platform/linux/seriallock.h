#pragma once

#include <QString>

namespace platform::linuxsystem {

/// Whether a running process holds the lock file of a serial line, as pppd and
/// terminal programs write it: LCK..ttyS0 in the locks folder, with the process
/// number. A lock file of a process that has ended does not count.
bool isLineLocked(const QString &locksFolder, const QString &kernelName);

} // namespace platform::linuxsystem
