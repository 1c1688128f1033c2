#include "platform/linux/linuxplatform.h"

#include "platform/linux/seriallock.h"
#include "platform/linux/systempath.h"
#include "platform/posix/processstart.h"

#include <QFileInfo>

namespace platform {

SerialPorts::SerialPorts(const SystemPaths &paths, StateStore *store)
    : m_paths(paths), m_store(store)
{
}

DWORD SerialPorts::deviceNodeForPort(int number, QString *node)
{
    QList<SerialPortDevice> ports;
    const DWORD code = presentSerialPorts(m_store, &ports);
    if (code != Success)
        return code;
    for (const SerialPortDevice &port : std::as_const(ports)) {
        if (port.number != number)
            continue;
        if (isLineLocked(m_paths.locks, port.kernelName))
            return ErrorAccessDenied;
        *node = port.node;
        return Success;
    }
    return ErrorFileNotFound;
}

Processes::Processes(OverlappedSerial *handles) : m_handles(handles) {}

BOOL Processes::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                               void *lpProcessAttributes, void *lpThreadAttributes,
                               BOOL bInheritHandles, DWORD dwCreationFlags, void *lpEnvironment,
                               const WCHAR *lpCurrentDirectory, StartupInfo *lpStartupInfo,
                               ProcessInformation *lpProcessInformation)
{
    if (!checkProcessArguments(lpApplicationName, lpProcessAttributes, lpThreadAttributes,
                               bInheritHandles, dwCreationFlags, lpEnvironment, lpCurrentDirectory,
                               lpStartupInfo, lpProcessInformation))
        return 0;
    QString program = systemPath(lpApplicationName);
    const QString suffix = ".exe";
    if (program.endsWith(suffix, Qt::CaseInsensitive) && !QFileInfo::exists(program))
        program.chop(suffix.size());
    return startProcess(m_handles, program, lpCommandLine ? fromWide(lpCommandLine) : QString(),
                        ownEnvironment(), lpProcessInformation);
}

LinuxParts::LinuxParts(const SystemPaths &paths)
    : store(paths.state),
      ports(paths, &store),
      processes(&ports),
      installation(&store),
      libraries(&installation),
      remoteAccess(paths, &store)
{
}

LinuxPlatform::LinuxPlatform(const SystemPaths &paths)
    : LinuxParts(paths),
      ComposedPlatform({&ports, &memory, &libraries, &processes, &remoteAccess, &installation,
                        &ports, &installation, &facts})
{
}

} // namespace platform
