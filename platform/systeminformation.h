#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

/// OSVERSIONINFOEXW.
struct OsVersionInfoEx {
    DWORD dwOSVersionInfoSize;
    DWORD dwMajorVersion;
    DWORD dwMinorVersion;
    DWORD dwBuildNumber;
    DWORD dwPlatformId;
    WCHAR szCSDVersion[128];
    WORD wServicePackMajor;
    WORD wServicePackMinor;
    WORD wSuiteMask;
    BYTE wProductType;
    BYTE wReserved;
};
static_assert(sizeof(OsVersionInfoEx) == 284, "OSVERSIONINFOEXW");

/// SYSTEM_INFO.
struct SystemInfo {
    WORD wProcessorArchitecture;
    WORD wReserved;
    DWORD dwPageSize;
    void *lpMinimumApplicationAddress;
    void *lpMaximumApplicationAddress;
    ULONG_PTR dwActiveProcessorMask;
    DWORD dwNumberOfProcessors;
    DWORD dwProcessorType;
    DWORD dwAllocationGranularity;
    WORD wProcessorLevel;
    WORD wProcessorRevision;
};
static_assert(sizeof(SystemInfo) == 48, "SYSTEM_INFO on 64-bit Windows");

inline constexpr DWORD PlatformWin32Nt = 2;        ///< VER_PLATFORM_WIN32_NT
inline constexpr BYTE ProductWorkstation = 1;      ///< VER_NT_WORKSTATION
inline constexpr WORD SuiteStorageServer = 0x2000; ///< VER_SUITE_STORAGE_SERVER
inline constexpr int MetricServerR2 = 89;          ///< SM_SERVERR2
inline constexpr WORD ArchitectureIntel = 0;       ///< PROCESSOR_ARCHITECTURE_INTEL
inline constexpr WORD ArchitectureItanium = 6;     ///< PROCESSOR_ARCHITECTURE_IA64
inline constexpr WORD ArchitectureX64 = 9;         ///< PROCESSOR_ARCHITECTURE_AMD64

/// Release and processor of the running system (kernel32, user32). Any thread.
struct SystemInformation : Family {
    /// Fills the record according to its dwOSVersionInfoSize; zero on failure.
    Operation<BOOL(OsVersionInfoEx *lpVersionInformation)> GetVersionExW{this, "GetVersionExW"};

    /// The value of a system metric; 0 for one that the release does not know.
    Operation<int(int nIndex)> GetSystemMetrics{this, "GetSystemMetrics", FailureCode::None};

    /// The processor as seen by this process; cannot fail.
    Operation<void(SystemInfo *lpSystemInfo)> GetSystemInfo{this, "GetSystemInfo",
                                                            FailureCode::None};

    /// The processor as it is, whatever the process believes; cannot fail. Older
    /// releases lack it, so the program looks it up at run time, through Modules
    /// (see ConfigManager).
    Operation<void(SystemInfo *lpSystemInfo)> GetNativeSystemInfo{this, "GetNativeSystemInfo",
                                                                  FailureCode::None};
};

using GetNativeSystemInfoFunction = decltype(SystemInformation::GetNativeSystemInfo)::Address;

} // namespace platform
