#pragma once

#include "platform/types.h"

namespace platform {

inline constexpr DWORD RegistryString = 1; ///< REG_SZ

/// Registry values (advapi32). Results are error codes, not GetLastError.
class Registry
{
public:
    virtual ~Registry() = default;

    /// Writes cbData bytes (terminator included) under lpValueName; 0 or an
    /// error code.
    virtual LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                                const BYTE *lpData, DWORD cbData) = 0;

    /// Closes a key opened by the device installation functions; 0 or an error code.
    virtual LONG RegCloseKey(HKEY hKey) = 0;
};

} // namespace platform
