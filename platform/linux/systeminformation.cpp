#include "platform/linux/families.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"

#include <unistd.h>

namespace platform::linuxsystem {

namespace {

BOOL GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    if (!lpVersionInformation)
        return fail(ErrorInvalidParameter);
    if (lpVersionInformation->dwOSVersionInfoSize != sizeof *lpVersionInformation)
        return fail(ErrorInsufficientBuffer);
    *lpVersionInformation = {};
    lpVersionInformation->dwOSVersionInfoSize = sizeof *lpVersionInformation;
    lpVersionInformation->dwMajorVersion = 6;
    lpVersionInformation->dwMinorVersion = 1;
    lpVersionInformation->dwBuildNumber = 7601;
    lpVersionInformation->dwPlatformId = PlatformWin32Nt;
    lpVersionInformation->wProductType = ProductWorkstation;
    return 1;
}

int GetSystemMetrics(int)
{
    return 0;
}

void GetSystemInfo(SystemInfo *lpSystemInfo)
{
    *lpSystemInfo = {};
    lpSystemInfo->wProcessorArchitecture =
        sizeof(void *) == 8 ? ArchitectureX64 : ArchitectureIntel;
    lpSystemInfo->dwPageSize = static_cast<DWORD>(::sysconf(_SC_PAGESIZE));
    lpSystemInfo->dwNumberOfProcessors = static_cast<DWORD>(::sysconf(_SC_NPROCESSORS_ONLN));
}

} // namespace

void provideSystemInformation(Platform *platform)
{
    platform->GetVersionExW = GetVersionExW;
    platform->GetSystemMetrics = GetSystemMetrics;
    platform->GetSystemInfo = GetSystemInfo;
    platform->GetNativeSystemInfo = GetSystemInfo;
}

} // namespace platform::linuxsystem
