#pragma once

#include <QString>

namespace platform::simulated {

/// Leaves the line of a connection to a process of its own, which keeps the
/// port open as the remote access service does, and with it data terminal
/// ready: a phone whose port is closed hangs up. That process is the program
/// simulated-remoteaccess beside this one. It has the line open when this
/// returns, and ends with the connection. False, with a line on standard
/// error, when that cannot be done.
bool holdLine(const QString &directory, const QString &tty, int handle);

} // namespace platform::simulated
