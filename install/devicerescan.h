#pragma once

#include "platform/configmanager.h"

/// CM_Locate_DevNode_ExA, bound for this one call. 1 when "cfgmgr32.dll" is
/// missing.
platform::ConfigRet LocateDevNode(platform::DEVINST *devInst, const char *deviceId,
                                  platform::ULONG flags, platform::MachineHandle machine);

/// CM_Reenumerate_DevNode_Ex, bound for this one call. 1 when "cfgmgr32.dll"
/// is missing.
platform::ConfigRet ReenumerateDevNode(platform::DEVINST devInst, platform::ULONG flags,
                                       platform::MachineHandle machine);
