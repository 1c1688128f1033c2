#include "platform/linux/systempaths.h"

#include <QFileInfo>

#include <unistd.h>

namespace platform::linuxsystem {

SystemPaths SystemPaths::ofThisSystem(const Program &program)
{
    SystemPaths paths;
    paths.state = "/var/lib/" + program.stateFolder;
    // The application object would know this path, but the backend is made
    // before it.
    const QString folder = QFileInfo("/proc/self/exe").canonicalPath();
    paths.drivers = folder + "/drivers";
    paths.helper = folder + '/' + program.helper;
    if (::geteuid() != 0)
        paths.pkexec = "/usr/bin/pkexec";
    paths.user = ::getuid();
    return paths;
}

} // namespace platform::linuxsystem
