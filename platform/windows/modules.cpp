#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

// Both are addresses of functions, to be cast to the function's own type.
template<>
struct AreSame<std::remove_pointer_t<FunctionAddress>, std::remove_pointer_t<FARPROC>>
    : std::true_type {
};

void provideModules(Platform *platform)
{
    platform->GetModuleHandleW = forward(::GetModuleHandleW);
    platform->LoadLibraryW = forward(::LoadLibraryW);
    platform->GetProcAddress = forward(::GetProcAddress);
    platform->FreeLibrary = forward(::FreeLibrary);
}

} // namespace platform
