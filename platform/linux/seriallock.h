#pragma once

#include <QString>

#include <sys/types.h>

namespace platform::linuxsystem {

/// The running process that holds the lock file of a serial line, as pppd and
/// terminal programs write it: LCK..ttyS0 in the locks folder, with the process
/// number. 0 without one; a lock file of a process that has ended does not count.
pid_t lockOwner(const QString &locksFolder, const QString &kernelName);

/// Whether something else than a file has the lock file's name. pppd would wait at a pipe
/// until somebody writes into it, and look for ever at a link that leads nowhere.
bool isLockNameTaken(const QString &locksFolder, const QString &kernelName);

inline bool isLineLocked(const QString &locksFolder, const QString &kernelName)
{
    return lockOwner(locksFolder, kernelName) > 0;
}

} // namespace platform::linuxsystem
