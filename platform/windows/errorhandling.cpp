#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

void provideErrorHandling(Platform *platform)
{
    platform->GetLastError = forward(::GetLastError);
    platform->SetLastError = forward(::SetLastError);
}

} // namespace platform
