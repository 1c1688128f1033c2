#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD InstallFlagForce = 1;            ///< INSTALLFLAG_FORCE
inline constexpr DWORD ErrorInWow64 = 0xE0000235;       ///< ERROR_IN_WOW64
inline constexpr DWORD ErrorNoSuchDevInst = 0xE000020B; ///< ERROR_NO_SUCH_DEVINST

/// Driver update (newdev). Bound at run time, like ConfigManager. Any thread.
struct NewDev : Family {
    /// Installs the INF's driver on every present device that has the hardware
    /// id. Zero on failure, with GetLastError.
    Operation<BOOL(HWND hwndParent, const WCHAR *HardwareId, const WCHAR *FullInfPath,
                   DWORD InstallFlags, BOOL *bRebootRequired)>
        UpdateDriverForPlugAndPlayDevicesW{this, "UpdateDriverForPlugAndPlayDevicesW"};
};

using UpdateDriverFunction = decltype(NewDev::UpdateDriverForPlugAndPlayDevicesW)::Address;

} // namespace platform
