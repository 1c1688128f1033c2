#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

void provideForeground(Platform *platform)
{
    platform->AllowSetForegroundWindow = forward(::AllowSetForegroundWindow);
}

} // namespace platform
