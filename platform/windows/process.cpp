#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

template<> struct AreSame<StartupInfo, STARTUPINFOW> : std::true_type {
};
template<> struct AreSame<ProcessInformation, PROCESS_INFORMATION> : std::true_type {
};

void provideProcess(Platform *platform)
{
    platform->CreateProcessW = forward(::CreateProcessW);
}

} // namespace platform
