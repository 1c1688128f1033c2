#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

void provideKernelObjects(Platform *platform)
{
    platform->CreateEventW = forward(::CreateEventW);
    platform->SetEvent = forward(::SetEvent);
    platform->WaitForSingleObject = forward(::WaitForSingleObject);
    platform->CloseHandle = forward(::CloseHandle);
}

} // namespace platform
