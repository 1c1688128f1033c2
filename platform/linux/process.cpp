#include "platform/posix/process.h"

#include "platform/linux/families.h"
#include "platform/standin/paths.h"

#include <QFileInfo>

namespace platform::linuxsystem {

namespace {

/// The file named, or where it ends in ".exe" and is missing the same without it.
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
