#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

template<> struct AreSame<OsVersionInfoEx, OSVERSIONINFOW> : std::true_type {
};
template<> struct AreSame<SystemInfo, SYSTEM_INFO> : std::true_type {
};

void provideSystemInformation(Platform *platform)
{
    platform->GetVersionExW = forward(::GetVersionExW);
    platform->GetSystemMetrics = forward(::GetSystemMetrics);
    platform->GetSystemInfo = forward(::GetSystemInfo);
    // GetNativeSystemInfo is bound at run time: older releases lack it.
}

} // namespace platform
