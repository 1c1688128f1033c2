#include "platform/systeminformation.h"

#include "platform/posix/lasterror.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedsystem.h"
#include "platform/text.h"

#include <cstddef>

namespace platform {

namespace {

constexpr DWORD PlainVersionSize = offsetof(OsVersionInfoEx, wServicePackMajor);

WORD architectureOf(simulated::Processor processor)
{
    switch (processor) {
    case simulated::Processor::X86:
        return ArchitectureIntel;
    case simulated::Processor::Itanium:
        return ArchitectureItanium;
    case simulated::Processor::X64:
        break;
    }
    return ArchitectureX64;
}

} // namespace

BOOL SimulatedSystem::GetVersionExW(OsVersionInfoEx *lpVersionInformation)
{
    OsVersionInfoEx &info = *lpVersionInformation;
    const DWORD size = info.dwOSVersionInfoSize;
    // The size tells which of two records the caller has.
    if (size != sizeof info && size != PlainVersionSize)
        return fail(ErrorInsufficientBuffer);
    const simulated::WindowsRelease windows = simulated::MachineSession(m_directory).state.windows;
    info.dwMajorVersion = static_cast<DWORD>(windows.major);
    info.dwMinorVersion = static_cast<DWORD>(windows.minor);
    info.dwBuildNumber = static_cast<DWORD>(windows.build);
    info.dwPlatformId = static_cast<DWORD>(windows.platformId);
    for (WCHAR &unit : info.szCSDVersion)
        unit = 0;
    if (windows.servicePack > 0)
        copyToBuffer(QString("Service Pack %1").arg(windows.servicePack), info.szCSDVersion, 128);
    if (size == PlainVersionSize)
        return 1;
    info.wServicePackMajor = static_cast<WORD>(windows.servicePack);
    info.wServicePackMinor = 0;
    info.wSuiteMask = static_cast<WORD>(windows.suiteMask);
    info.wProductType = static_cast<BYTE>(windows.productType);
    info.wReserved = 0;
    return 1;
}

int SimulatedSystem::GetSystemMetrics(int nIndex)
{
    if (nIndex != MetricServerR2) {
        failUnsupported("GetSystemMetrics", "metrics other than SM_SERVERR2");
        return 0;
    }
    return simulated::MachineSession(m_directory).state.windows.serverR2;
}

void SimulatedSystem::GetSystemInfo(SystemInfo *lpSystemInfo)
{
    const simulated::WindowsRelease windows = simulated::MachineSession(m_directory).state.windows;
    *lpSystemInfo = {};
    lpSystemInfo->wProcessorArchitecture = architectureOf(windows.processor);
    lpSystemInfo->dwPageSize = 4096;
    lpSystemInfo->lpMinimumApplicationAddress = reinterpret_cast<void *>(ULONG_PTR(0x10000));
    lpSystemInfo->lpMaximumApplicationAddress = reinterpret_cast<void *>(ULONG_PTR(0x7FFFFFEFFFF));
    lpSystemInfo->dwActiveProcessorMask = 1;
    lpSystemInfo->dwNumberOfProcessors = 1;
    lpSystemInfo->dwAllocationGranularity = 0x10000;
}

} // namespace platform
