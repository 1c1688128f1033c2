#include "platform/linux/systempaths.h"

#include <QFileInfo>

namespace platform::linuxsystem {

SystemPaths SystemPaths::ofThisSystem(const Program &program)
{
    SystemPaths paths;
    paths.state = "/var/lib/" + program.stateFolder;
    // The backend is made before the application object, which would know.
    paths.drivers = QFileInfo("/proc/self/exe").canonicalPath() + "/drivers";
    return paths;
}

} // namespace platform::linuxsystem
