#include "platform/windows/families.h"
#include "platform/windows/forward.h"

#include <sddl.h>
#include <shlobj.h>

namespace platform {

void provideSecurity(Platform *platform)
{
    platform->ConvertStringSecurityDescriptorToSecurityDescriptorW =
        forward(::ConvertStringSecurityDescriptorToSecurityDescriptorW);
    platform->IsUserAnAdmin = forward(::IsUserAnAdmin);
}

} // namespace platform
