#include "platform/linux/systempaths.h"

#include <QFileInfo>

namespace platform::linuxsystem {

SystemPaths SystemPaths::ofThisSystem(const Program &program)
{
    SystemPaths paths;
    paths.state = "/var/lib/" + program.stateFolder;
    // The application object would know this path, but the backend is made
    // before it.
    paths.drivers = QFileInfo("/proc/self/exe").canonicalPath() + "/drivers";
    return paths;
}

} // namespace platform::linuxsystem
