#pragma once

#include "platform/systeminformation.h"

namespace platform {

/// What this backend stands in for: the newest release whose driver packages
/// the program knows (6.1, a workstation), so that a 64-bit system takes
/// modem_inf_64.inf and a 32-bit one modem_inf_32.inf. Any thread.
class SystemFacts : public SystemInformation
{
public:
    /// Zero and 122 for a record of another size.
    BOOL GetVersionExW(OsVersionInfoEx *lpVersionInformation) override;
    int GetSystemMetrics(int nIndex) override;
    /// The driver packages for Linux know the word size only, so every 64-bit
    /// processor counts as x64.
    void GetSystemInfo(SystemInfo *lpSystemInfo) override;
};

} // namespace platform
