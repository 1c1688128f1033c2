#include "platform/standin/foreground.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"

namespace platform {

void provideForeground(Platform *platform)
{
    platform->AllowSetForegroundWindow = [](DWORD) { return fail(ErrorNotSupported); };
}

} // namespace platform
