#pragma once

#include "platform/types.h"

// Driver update. The program binds this function of "newdev.dll" at run time,
// through Modules.
namespace platform {

inline constexpr DWORD InstallFlagForce = 1;            ///< INSTALLFLAG_FORCE
inline constexpr DWORD ErrorInWow64 = 0xE0000235;       ///< ERROR_IN_WOW64
inline constexpr DWORD ErrorNoSuchDevInst = 0xE000020B; ///< ERROR_NO_SUCH_DEVINST

/// "UpdateDriverForPlugAndPlayDevicesW": installs the INF's driver on every
/// present device that has the hardware id. Zero on failure, with GetLastError.
using UpdateDriverFunction = BOOL(TMC_WINAPI *)(HWND hwndParent, const WCHAR *HardwareId,
                                                const WCHAR *FullInfPath, DWORD InstallFlags,
                                                BOOL *bRebootRequired);

} // namespace platform
