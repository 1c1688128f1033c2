#include "platform/linux/systemfacts.h"

#include "platform/posix/lasterror.h"

#include <unistd.h>

namespace platform {

BOOL SystemFacts::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
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

int SystemFacts::GetSystemMetrics(int)
{
    return 0;
}

void SystemFacts::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    *lpSystemInfo = {};
    lpSystemInfo->wProcessorArchitecture =
        sizeof(void *) == 8 ? ArchitectureX64 : ArchitectureIntel;
    lpSystemInfo->dwPageSize = static_cast<DWORD>(::sysconf(_SC_PAGESIZE));
    lpSystemInfo->dwNumberOfProcessors = static_cast<DWORD>(::sysconf(_SC_NPROCESSORS_ONLN));
}

} // namespace platform
