#include "platform/standin/security.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"

namespace platform {

void provideSecurity(Platform *platform)
{
    platform->ConvertStringSecurityDescriptorToSecurityDescriptorW =
        [](const WCHAR *, DWORD, void **, ULONG *) { return fail(ErrorNotSupported); };
}

} // namespace platform
