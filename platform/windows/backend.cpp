#include "platform/windows/windowsplatform.h"

namespace platform {

Platform &backend()
{
    static WindowsPlatform windows;
    return windows;
}

} // namespace platform
