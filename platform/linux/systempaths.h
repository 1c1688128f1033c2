#pragma once

#include "platform/linux/ownership.h"
#include "platform/program.h"

#include <QString>

#include <sys/types.h>

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
    QString systemctl = "/bin/systemctl";
    /// The drivers folder. It holds the program that pppd runs to dial.
    QString drivers;
    /// The program that does what needs administrator rights; see helper/.
    QString helper;
    /// The program that gives the helper its rights. Empty when this process has
    /// them itself.
    QString pkexec;
    /// Whose entries of the phone book are meant.
    uid_t user = 0;
    /// Whose programs and entries are used with root's rights.
    TrustedPlaces trusted;

    /// The paths of the running system, for the user of this process. Drivers
    /// folder and helper are those beside the executable.
    static SystemPaths ofThisSystem(const Program &program);
};

} // namespace platform::linuxsystem
