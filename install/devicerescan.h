#pragma once

#include "platform/configmanager.h"

// Each call loads "cfgmgr32.dll" and frees it again. Worker thread; the
// re-enumeration may take seconds.

/// Calls CM_Locate_DevNode_ExA and returns its result; 1 when the library is
/// missing.
platform::ConfigRet LocateDevNode(platform::DEVINST *devInst, const char *deviceId,
                                  platform::ULONG flags, platform::MachineHandle machine);

/// Calls CM_Reenumerate_DevNode_Ex and returns its result; 1 when the library
/// is missing.
platform::ConfigRet ReenumerateDevNode(platform::DEVINST devInst, platform::ULONG flags,
                                       platform::MachineHandle machine);
