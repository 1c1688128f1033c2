#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

BOOL WindowsPlatform::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    return ::GetVersionExW(reinterpret_cast<LPOSVERSIONINFOW>(lpVersionInformation));
}

int WindowsPlatform::GetSystemMetrics(int nIndex)
{
    return ::GetSystemMetrics(nIndex);
}

void WindowsPlatform::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    ::GetSystemInfo(reinterpret_cast<LPSYSTEM_INFO>(lpSystemInfo));
}

} // namespace platform
