#pragma once

#include <QString>

namespace platform::linuxsystem {

/// Whether a living process has announced a serial line as its own, in the
/// manner of pppd and the terminal programs: LCK..ttyS0 below the locks folder
/// with its process number. A file that a dead process left does not count.
bool isLineLocked(const QString &locksFolder, const QString &kernelName);

} // namespace platform::linuxsystem
