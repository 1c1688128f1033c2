#include "install/windowsrelease.h"

#include "platform/platform.h"
#include "platform/text.h"

using namespace platform;

namespace {

/// Added to a known release's base code.
int processorOffset(WORD architecture)
{
    switch (architecture) {
    case ArchitectureX64:
        return 20;
    case ArchitectureItanium:
        return 40;
    default:
        return 0;
    }
}

/// Windows XP Professional x64 reports the server's version number.
bool isXpX64(const OsVersionInfoEx &version, WORD architecture)
{
    return version.wProductType == ProductWorkstation && architecture == ArchitectureX64;
}

/// Releases of version 5.2. Only a system metric distinguishes the second
/// release of Windows Server 2003 from the others, so it is asked first.
int baseCodeOf52(const OsVersionInfoEx &version, WORD architecture)
{
    if (current().GetSystemMetrics(MetricServerR2) != 0)
        return 6;
    if (version.wSuiteMask & SuiteStorageServer)
        return 4;
    return isXpX64(version, architecture) ? 2 : 3;
}

/// The code without the processor; 0 for a release that the driver packages do
/// not know.
int baseCode(const OsVersionInfoEx &version, WORD architecture)
{
    if (version.dwPlatformId != PlatformWin32Nt)
        return 0;
    const bool workstation = version.wProductType == ProductWorkstation;
    if (version.dwMajorVersion == 5) {
        switch (version.dwMinorVersion) {
        case 0:
            return 1;
        case 1:
            return 2;
        case 2:
            return baseCodeOf52(version, architecture);
        }
    }
    if (version.dwMajorVersion == 6) {
        switch (version.dwMinorVersion) {
        case 0:
            return workstation ? 7 : 8;
        case 1:
            return workstation ? 10 : 9;
        }
    }
    return 0;
}

WORD nativeArchitecture()
{
    SystemInfo information{};
    const QString kernel = "kernel32.dll";
    const HMODULE module = current().GetModuleHandleW(wide(kernel));
    const auto getNativeSystemInfo = reinterpret_cast<GetNativeSystemInfoFunction>(
        current().GetProcAddress(module, "GetNativeSystemInfo"));
    if (getNativeSystemInfo)
        getNativeSystemInfo(&information);
    else
        current().GetSystemInfo(&information);
    return information.wProcessorArchitecture;
}

} // namespace

int GetWindowsVersionCode()
{
    OsVersionInfoEx version{};
    version.dwOSVersionInfoSize = sizeof version;
    // If this fails the record stays zero, which is an unknown release.
    current().GetVersionExW(&version);
    const WORD architecture = nativeArchitecture();
    const int code = baseCode(version, architecture);
    return code == 0 ? 0 : code + processorOffset(architecture);
}
