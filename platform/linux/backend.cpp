#include "platform/linux/linuxplatform.h"

namespace platform {

Platform &backend()
{
    static LinuxPlatform instance(SystemPaths::ofThisSystem());
    return instance;
}

} // namespace platform
