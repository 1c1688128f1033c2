#pragma once

#include "platform/types.h"

#include <QString>

namespace platform::linuxsystem {

/// Takes a serial line away from everybody who has it open without having claimed
/// it: who sat at the computer before may have kept a descriptor and would read
/// and write along. Success, also for a line that is not there, which pppd tells
/// better; 5 for one in use, as a port is that cannot be opened, and for one that
/// cannot be taken away. For root.
DWORD hangUpLine(const QString &node, const QString &locksFolder);

} // namespace platform::linuxsystem
