#pragma once

#include "platform/program.h"

#include <QString>

namespace platform::linuxsystem {

/// Where this backend keeps and finds things on the system. Tests point it at
/// folders of their own. A value object.
struct SystemPaths {
    /// What the program installed on this machine: port numbers, INF store,
    /// root-enumerated devices. Written with administrator rights only.
    QString state;
    /// The phone book: pppd's own entries.
    QString peers = "/etc/ppp/peers";
    /// Where pppd leaves the process number of a named link.
    QString run = "/run";
    /// Where programs that use a serial line announce it (LCK..ttyS0).
    QString locks = "/run/lock";
    QString pppd = "/usr/sbin/pppd";
    /// The drivers folder, in which the program lies that pppd runs to dial.
    QString drivers;

    /// The paths of the running system; the drivers folder is the one beside
    /// the executable.
    static SystemPaths ofThisSystem(const Program &program);
};

} // namespace platform::linuxsystem
