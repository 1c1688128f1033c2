#include "platform/posix/process.h"

#include "platform/linux/families.h"
#include "platform/standin/paths.h"

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

void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles)
{
    platform::provideProcess(platform, handles, programPath, ownEnvironment);
}

} // namespace platform::linuxsystem
