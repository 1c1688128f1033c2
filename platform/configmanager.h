#pragma once

#include "platform/types.h"

// The configuration manager has no interface class: the program binds these
// functions of "cfgmgr32.dll" at run time, through Modules.
namespace platform {

using ConfigRet = DWORD;                       ///< CONFIGRET; 0 is CR_SUCCESS
using MachineHandle = HANDLE;                  ///< HMACHINE; null is this machine
inline constexpr ConfigRet ConfigSuccess = 0;  ///< CR_SUCCESS
inline constexpr ConfigRet ConfigDefault = 1;  ///< CR_DEFAULT: failure without a reason
inline constexpr ConfigRet ConfigFailure = 19; ///< CR_FAILURE
inline constexpr ULONG LocateNormal = 0;       ///< CM_LOCATE_DEVNODE_NORMAL
inline constexpr ULONG ReenumerateNormal = 0;  ///< CM_REENUMERATE_NORMAL: returns when done

/// "CM_Locate_DevNode_ExA": the node of a device id; a null id is the root of
/// the device tree.
using CmLocateDevNodeFunction = ConfigRet(TMC_WINAPI *)(DEVINST *pdnDevInst, char *pDeviceID,
                                                        ULONG ulFlags, MachineHandle hMachine);

/// "CM_Reenumerate_DevNode_Ex": rescans everything below a node.
using CmReenumerateDevNodeFunction = ConfigRet(TMC_WINAPI *)(DEVINST dnDevInst, ULONG ulFlags,
                                                             MachineHandle hMachine);

} // namespace platform
