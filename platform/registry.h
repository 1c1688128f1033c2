#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

inline constexpr DWORD RegistryString = 1;    ///< REG_SZ
inline constexpr LONG ErrorKeyDeleted = 1018; ///< ERROR_KEY_DELETED

/// Registry values (advapi32). Results are error codes, not GetLastError.
struct Registry : Family {
    /// Writes cbData bytes (terminator included) under lpValueName; 0 or an
    /// error code: 5 when the key was not opened for writing, 6 for no key,
    /// 1018 when the key was deleted meanwhile.
    Operation<LONG(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                   const BYTE *lpData, DWORD cbData)>
        RegSetValueExW{this, "RegSetValueExW", FailureCode::Result};

    /// Closes a key opened by the device installation functions; 0 or an error code.
    Operation<LONG(HKEY hKey)> RegCloseKey{this, "RegCloseKey", FailureCode::Result};
};

} // namespace platform
