#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

using ConfigRet = DWORD;                             ///< CONFIGRET; 0 is CR_SUCCESS
using MachineHandle = HANDLE;                        ///< HMACHINE; null is this machine
inline constexpr ConfigRet ConfigSuccess = 0;        ///< CR_SUCCESS
inline constexpr ConfigRet ConfigDefault = 1;        ///< CR_DEFAULT: failure without a reason
inline constexpr ConfigRet ConfigInvalidDevNode = 5; ///< CR_INVALID_DEVNODE
inline constexpr ConfigRet ConfigFailure = 19;       ///< CR_FAILURE
inline constexpr ConfigRet ConfigAccessDenied = 51;  ///< CR_ACCESS_DENIED
inline constexpr ULONG LocateNormal = 0;             ///< CM_LOCATE_DEVNODE_NORMAL
inline constexpr ULONG ReenumerateNormal = 0;        ///< CM_REENUMERATE_NORMAL: returns when done

/// The configuration manager (cfgmgr32). Results are its own codes. The program
/// binds these functions at run time, through Modules: on Windows the slots stay
/// empty, elsewhere Modules hands out functions that call them. Any thread.
struct ConfigManager : Family {
    /// The node of a device id; a null id is the root of the device tree.
    Operation<ConfigRet(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                        MachineHandle hMachine)>
        CM_Locate_DevNode_ExA{this, "CM_Locate_DevNode_ExA", FailureCode::Result};

    /// Rescans everything below a node; 51 without administrator rights.
    Operation<ConfigRet(DEVINST dnDevInst, ULONG ulFlags, MachineHandle hMachine)>
        CM_Reenumerate_DevNode_Ex{this, "CM_Reenumerate_DevNode_Ex", FailureCode::Result};
};

using CmLocateDevNodeFunction = decltype(ConfigManager::CM_Locate_DevNode_ExA)::Address;
using CmReenumerateDevNodeFunction = decltype(ConfigManager::CM_Reenumerate_DevNode_Ex)::Address;

} // namespace platform
