#include "platform/windows/families.h"
#include "platform/windows/forward.h"

#include <sddl.h>

namespace platform {

void provideSecurity(Platform *platform)
{
    platform->ConvertStringSecurityDescriptorToSecurityDescriptorW =
        forward(::ConvertStringSecurityDescriptorToSecurityDescriptorW);
}

} // namespace platform
