#include "platform/process.h"

#include "platform/posix/processstart.h"
#include "platform/simulated/infstore.h"
#include "platform/simulated/simulatedsystem.h"
#include "platform/text.h"

#include <algorithm>

namespace platform {

namespace {

/// This process's environment, with the child on the same machine.
std::vector<QByteArray> childEnvironment(const QString &stateDirectory)
{
    const QByteArray name = "SIMULATED_PC=";
    std::vector<QByteArray> environment = ownEnvironment();
    const auto isMachine = [&](const QByteArray &entry) { return entry.startsWith(name); };
    environment.erase(std::remove_if(environment.begin(), environment.end(), isMachine),
                      environment.end());
    environment.push_back(name + stateDirectory.toLocal8Bit());
    return environment;
}

} // namespace

BOOL SimulatedSystem::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                     void *lpProcessAttributes, void *lpThreadAttributes,
                                     BOOL bInheritHandles, DWORD dwCreationFlags,
                                     void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                     StartupInfo *lpStartupInfo,
                                     ProcessInformation *lpProcessInformation)
{
    if (!checkProcessArguments(lpApplicationName, lpProcessAttributes, lpThreadAttributes,
                               bInheritHandles, dwCreationFlags, lpEnvironment, lpCurrentDirectory,
                               lpStartupInfo, lpProcessInformation))
        return 0;
    const QString program = simulated::hostPath(fromWide(lpApplicationName));
    const QString commandLine = lpCommandLine ? fromWide(lpCommandLine) : QString();
    return startProcess(m_handles, program, commandLine, childEnvironment(m_directory),
                        lpProcessInformation);
}

} // namespace platform
