#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

void provideMemory(Platform *platform)
{
    platform->GetProcessHeap = forward(::GetProcessHeap);
    platform->HeapAlloc = forward(::HeapAlloc);
    platform->HeapFree = forward(::HeapFree);
    platform->LocalAlloc = forward(::LocalAlloc);
    platform->LocalFree = forward(::LocalFree);
}

} // namespace platform
