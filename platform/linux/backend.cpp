#include "platform/linux/linuxplatform.h"

namespace platform {

Platform &backend()
{
    static linuxsystem::LinuxPlatform instance(linuxsystem::SystemPaths::ofThisSystem());
    return instance;
}

} // namespace platform
