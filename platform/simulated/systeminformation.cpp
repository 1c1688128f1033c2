#include "platform/platform.h"
#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <cstddef>

namespace platform::simulated {

namespace {

constexpr DWORD PlainVersionSize = offsetof(OsVersionInfoEx, wServicePackMajor);

WORD architectureOf(Processor processor)
{
    switch (processor) {
    case Processor::X86:
        return ArchitectureIntel;
    case Processor::Itanium:
        return ArchitectureItanium;
    case Processor::X64:
        break;
    }
    return ArchitectureX64;
}

class Facts
{
public:
    explicit Facts(const QString &directory) : m_directory(directory) {}

    BOOL GetVersionExW(OsVersionInfoEx *lpVersionInformation)
    {
        OsVersionInfoEx &info = *lpVersionInformation;
        const DWORD size = info.dwOSVersionInfoSize;
        // The size tells which of two records the caller has.
        if (size != sizeof info && size != PlainVersionSize)
            return fail(ErrorInsufficientBuffer);
        const WindowsRelease windows = MachineSession(m_directory).state.windows;
        info.dwMajorVersion = static_cast<DWORD>(windows.major);
        info.dwMinorVersion = static_cast<DWORD>(windows.minor);
        info.dwBuildNumber = static_cast<DWORD>(windows.build);
        info.dwPlatformId = static_cast<DWORD>(windows.platformId);
        for (WCHAR &unit : info.szCSDVersion)
            unit = 0;
        if (windows.servicePack > 0)
            copyToBuffer(QString("Service Pack %1").arg(windows.servicePack), info.szCSDVersion,
                         128);
        if (size == PlainVersionSize)
            return 1;
        info.wServicePackMajor = static_cast<WORD>(windows.servicePack);
        info.wServicePackMinor = 0;
        info.wSuiteMask = static_cast<WORD>(windows.suiteMask);
        info.wProductType = static_cast<BYTE>(windows.productType);
        info.wReserved = 0;
        return 1;
    }

    int GetSystemMetrics(int nIndex)
    {
        if (nIndex != MetricServerR2) {
            failUnsupported("GetSystemMetrics", "metrics other than SM_SERVERR2");
            return 0;
        }
        return MachineSession(m_directory).state.windows.serverR2;
    }

    void GetSystemInfo(SystemInfo *lpSystemInfo)
    {
        const WindowsRelease windows = MachineSession(m_directory).state.windows;
        *lpSystemInfo = {};
        lpSystemInfo->wProcessorArchitecture = architectureOf(windows.processor);
        lpSystemInfo->dwPageSize = 4096;
        lpSystemInfo->lpMinimumApplicationAddress = reinterpret_cast<void *>(ULONG_PTR(0x10000));
        lpSystemInfo->lpMaximumApplicationAddress =
            reinterpret_cast<void *>(ULONG_PTR(0x7FFFFFEFFFF));
        lpSystemInfo->dwActiveProcessorMask = 1;
        lpSystemInfo->dwNumberOfProcessors = 1;
        lpSystemInfo->dwAllocationGranularity = 0x10000;
    }

private:
    const QString m_directory;
};

} // namespace

void provideSystemInformation(Platform *platform, const QString &directory)
{
    const auto facts = std::make_shared<Facts>(directory);
    platform->GetVersionExW.provide(facts, &Facts::GetVersionExW);
    platform->GetSystemMetrics.provide(facts, &Facts::GetSystemMetrics);
    platform->GetSystemInfo.provide(facts, &Facts::GetSystemInfo);
    platform->GetNativeSystemInfo.provide(facts, &Facts::GetSystemInfo);
}

} // namespace platform::simulated
