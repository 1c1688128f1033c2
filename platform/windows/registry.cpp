#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

void provideRegistry(Platform *platform)
{
    platform->RegSetValueExW = forward(::RegSetValueExW);
    platform->RegCloseKey = forward(::RegCloseKey);
}

} // namespace platform
