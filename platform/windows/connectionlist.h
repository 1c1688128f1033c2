#pragma once

#include "platform/ras.h"

namespace platform {

/// What fills the slot RasEnumConnectionsW.
DWORD listConnections(RasConnection *list, DWORD *bytes, DWORD *count);

} // namespace platform
