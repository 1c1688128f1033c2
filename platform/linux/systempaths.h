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
    /// Where pppd writes the process number of a link.
    QString run = "/run";
    /// Where programs write lock files for the serial lines that they use
    /// (LCK..ttyS0).
    QString locks = "/run/lock";
    QString pppd = "/usr/sbin/pppd";
    /// The drivers folder. It holds the program that pppd runs to dial.
    QString drivers;

    /// The paths of the running system; the drivers folder is the one beside
    /// the executable.
    static SystemPaths ofThisSystem(const Program &program);
};

} // namespace platform::linuxsystem
