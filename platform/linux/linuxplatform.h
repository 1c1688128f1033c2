#pragma once

#include "platform/linux/deviceinstallation.h"
#include "platform/linux/remoteaccess.h"
#include "platform/linux/systemfacts.h"
#include "platform/linux/systemlibraries.h"
#include "platform/linux/systempaths.h"
#include "platform/posix/composedplatform.h"
#include "platform/posix/overlappedserial.h"
#include "platform/posix/posixmemory.h"

namespace platform {

/// The COM ports of this machine. A line that another program has announced
/// as its own, or opened for itself alone, answers 5.
class SerialPorts : public OverlappedSerial
{
public:
    SerialPorts(const SystemPaths &paths, StateStore *store);

protected:
    DWORD deviceNodeForPort(int number, QString *node) override;

private:
    const SystemPaths m_paths;
    StateStore *m_store;
};

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

/// The parts of the Linux backend; a base class so that they exist before the
/// platform that is put together from them.
struct LinuxParts {
    explicit LinuxParts(const SystemPaths &paths);

    StateStore store;
    SerialPorts ports;
    PosixMemory memory;
    Processes processes;
    DeviceInstallation installation;
    SystemLibraries libraries;
    RemoteAccess remoteAccess;
    SystemFacts facts;
};

/// The program's operating system on a Linux desktop: udev, serial lines, pppd.
class LinuxPlatform : private LinuxParts, public ComposedPlatform
{
public:
    explicit LinuxPlatform(const SystemPaths &paths);
};

} // namespace platform
