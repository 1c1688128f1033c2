#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

LONG WindowsPlatform::RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved,
                                     DWORD dwType, const BYTE *lpData, DWORD cbData)
{
    return ::RegSetValueExW(static_cast<::HKEY>(hKey), lpValueName, Reserved, dwType, lpData,
                            cbData);
}

LONG WindowsPlatform::RegCloseKey(HKEY hKey)
{
    return ::RegCloseKey(static_cast<::HKEY>(hKey));
}

} // namespace platform
