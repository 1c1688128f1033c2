#include "platform/windows/families.h"
#include "platform/windows/forward.h"

namespace platform {

template<> struct AreSame<DeviceControlBlock, DCB> : std::true_type {
};
template<> struct AreSame<CommTimeouts, COMMTIMEOUTS> : std::true_type {
};
template<> struct AreSame<Overlapped, OVERLAPPED> : std::true_type {
};

void provideSerialComm(Platform *platform)
{
    platform->CreateFileW = forward(::CreateFileW);
    platform->GetCommState = forward(::GetCommState);
    platform->SetCommState = forward(::SetCommState);
    platform->SetCommTimeouts = forward(::SetCommTimeouts);
    platform->SetCommMask = forward(::SetCommMask);
    platform->WaitCommEvent = forward(::WaitCommEvent);
    platform->ReadFile = forward(::ReadFile);
    platform->WriteFile = forward(::WriteFile);
    platform->GetOverlappedResult = forward(::GetOverlappedResult);
}

} // namespace platform
