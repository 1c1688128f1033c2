#pragma once

#include "platform/types.h"

#include <QString>

namespace platform::simulated {

/// Ends a connection as the remote access service does: the escape sequence
/// with silence around it, then ATH. Blocks for about the guard time of the
/// state (1.05 s) and never longer than 2.4 s; the connection is gone
/// afterwards, whatever the phone said. 0, or 6 for a handle that is no
/// connection. Any thread.
platform::DWORD hangUp(const QString &directory, int handle);

} // namespace platform::simulated
