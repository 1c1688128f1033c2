#include "platform/linux/processes.h"

#include "platform/linux/systempath.h"
#include "platform/posix/processstart.h"

#include <QFileInfo>

namespace platform {

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

} // namespace platform
