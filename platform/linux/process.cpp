#include "platform/posix/process.h"

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/platform.h"
#include "platform/posix/event.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/paths.h"
#include "platform/text.h"

#include <QFileInfo>

namespace platform::linuxsystem {

namespace {

/// The named file. If it is missing and its name ends in ".exe", the file of
/// the same name without that ending.
QString programPath(const QString &name)
{
    QString program = systemPath(name);
    const QString suffix = ".exe";
    if (program.endsWith(suffix, Qt::CaseInsensitive) && !QFileInfo::exists(program))
        program.chop(suffix.size());
    return program;
}

} // namespace

void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const SystemPaths &paths, const std::shared_ptr<HelperClient> &helper)
{
    platform::provideProcess(platform, handles, programPath, ownEnvironment);
    if (!helper->isNeeded())
        return;
    // The helper knows the one program that it starts, and its arguments.
    const QString installer = paths.drivers + "/InstallDriver";
    platform->CreateProcessW.wrap(
        [handles, helper,
         installer](const auto &next, const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                    void *lpProcessAttributes, void *lpThreadAttributes, BOOL bInheritHandles,
                    DWORD dwCreationFlags, void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                    StartupInfo *lpStartupInfo, ProcessInformation *lpProcessInformation) -> BOOL {
            if (!lpApplicationName || !lpProcessInformation ||
                programPath(fromWide(lpApplicationName)) != installer)
                return next(lpApplicationName, lpCommandLine, lpProcessAttributes,
                            lpThreadAttributes, bInheritHandles, dwCreationFlags, lpEnvironment,
                            lpCurrentDirectory, lpStartupInfo, lpProcessInformation);
            const DWORD code = helper->ask(Role::SetUp, installDriverRequest());
            if (code != Success)
                return fail(code);
            // Nobody here sees its end: the handles say that it has ended.
            *lpProcessInformation = {};
            lpProcessInformation->hProcess = handles->add(std::make_shared<Event>(true, true));
            lpProcessInformation->hThread = handles->add(std::make_shared<Event>(true, true));
            return 1;
        });
}

} // namespace platform::linuxsystem
