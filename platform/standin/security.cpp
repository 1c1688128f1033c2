#include "platform/standin/security.h"

#include "platform/platform.h"
#include "platform/standin/lasterror.h"

namespace platform {

void provideSecurity(Platform *platform, const std::function<bool()> &isAdministrator)
{
    platform->ConvertStringSecurityDescriptorToSecurityDescriptorW =
        [](const WCHAR *, DWORD, void **, ULONG *) { return fail(ErrorNotSupported); };
    platform->IsUserAnAdmin = [isAdministrator] { return BOOL(isAdministrator()); };
}

} // namespace platform
