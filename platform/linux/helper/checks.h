#pragma once

#include "platform/linux/systempaths.h"
#include "platform/standin/devices.h"

#include <QString>

// What the helper believes of a request. Everything in it may have been written by
// somebody who wants more than he may.
namespace platform::linuxsystem {

/// What is run with root's rights, becomes a rule of the system, or tells root what to do
/// and where to write, and can be changed by others; empty when nothing can.
QString changeablePath(const SystemPaths &paths);

/// Whether a text is one line of at most that many characters, all of them
/// printable and of ASCII.
bool isPlainLine(const QString &text, int longest);

/// Whether a name may be a file of the INF store: oem0.inf to oem9999.inf.
bool isInfName(const QString &name);

/// Whether a network may get that as name or password: 255 bytes at most in UTF-8,
/// as pppd takes them, no control character.
bool isSignInText(const QString &text);

/// Whether a list of devices is one that device installation makes of another:
/// device ids, class, hardware ids, names and driver keys of their usual form, none
/// twice, and no more of them than a machine has in years. The files that drivers
/// come from must be in the INF store. A modem that is installed stays, and no other
/// one gets its name: entries of any user dial with it.
bool isPlausible(const DeviceList &wanted, const DeviceList &present, const QString &infFolder);

} // namespace platform::linuxsystem
