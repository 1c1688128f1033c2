#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD InstallFlagForce = 1;      ///< INSTALLFLAG_FORCE
inline constexpr DWORD ErrorInWow64 = 0xE0000235; ///< ERROR_IN_WOW64

/// Driver update (newdev). Bound at run time, like ConfigManager. Any thread.
struct NewDev : Family {
    /// Installs the INF's driver on every present device that has the hardware
    /// id. The INF is taken from where FullInfPath says, whether the INF store
    /// has it or not, and is in the store afterwards. Zero on failure, with
    /// GetLastError: 2 when the file is missing, 5 without administrator
    /// rights, 87 without an id or a path, 1004 for unknown flags, 0xE000020B
    /// when no device has the id, 259 when the INF has no model for it or,
    /// without InstallFlagForce, none that is better than the present driver.
    Operation<BOOL(HWND hwndParent, const WCHAR *HardwareId, const WCHAR *FullInfPath,
                   DWORD InstallFlags, BOOL *bRebootRequired)>
        UpdateDriverForPlugAndPlayDevicesW{this, "UpdateDriverForPlugAndPlayDevicesW"};
};

using UpdateDriverFunction = decltype(NewDev::UpdateDriverForPlugAndPlayDevicesW)::Address;

} // namespace platform
