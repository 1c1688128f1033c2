#pragma once

#include "platform/posix/overlappedserial.h"
#include "platform/process.h"

namespace platform {

/// Programs: the file named, or where it ends in ".exe" and is missing the
/// same without it.
class Processes : public Process
{
public:
    /// The handles of started processes live in the table of the ports.
    explicit Processes(OverlappedSerial *handles);

    BOOL CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                        void *lpProcessAttributes, void *lpThreadAttributes, BOOL bInheritHandles,
                        DWORD dwCreationFlags, void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                        StartupInfo *lpStartupInfo,
                        ProcessInformation *lpProcessInformation) override;

private:
    OverlappedSerial *m_handles;
};

} // namespace platform
