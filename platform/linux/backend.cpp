#include "platform/linux/linuxplatform.h"

namespace platform {

Platform &backend(const Program &program)
{
    static linuxsystem::LinuxPlatform instance(linuxsystem::SystemPaths::ofThisSystem(program),
                                               program);
    return instance;
}

} // namespace platform
