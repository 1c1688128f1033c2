#include "platform/windows/families.h"
#include "platform/windows/forward.h"

#include <setupapi.h>

namespace platform {

template<> struct AreSame<Guid, GUID> : std::true_type {
};
template<> struct AreSame<DeviceInfoData, SP_DEVINFO_DATA> : std::true_type {
};
template<> struct AreSame<DriverInfoData, SP_DRVINFO_DATA_V2_W> : std::true_type {
};

void provideSetupApi(Platform *platform)
{
    platform->SetupCopyOEMInfW = forward(::SetupCopyOEMInfW);
    platform->SetupDiGetINFClassW = forward(::SetupDiGetINFClassW);
    platform->SetupDiGetClassDevsW = forward(::SetupDiGetClassDevsW);
    platform->SetupDiCreateDeviceInfoList = forward(::SetupDiCreateDeviceInfoList);
    platform->SetupDiDestroyDeviceInfoList = forward(::SetupDiDestroyDeviceInfoList);
    platform->SetupDiEnumDeviceInfo = forward(::SetupDiEnumDeviceInfo);
    platform->SetupDiGetDeviceRegistryPropertyW = forward(::SetupDiGetDeviceRegistryPropertyW);
    platform->SetupDiSetDeviceRegistryPropertyW = forward(::SetupDiSetDeviceRegistryPropertyW);
    platform->SetupDiCreateDeviceInfoW = forward(::SetupDiCreateDeviceInfoW);
    platform->SetupDiGetDeviceInstanceIdW = forward(::SetupDiGetDeviceInstanceIdW);
    platform->SetupDiRegisterDeviceInfo = forward(::SetupDiRegisterDeviceInfo);
    platform->SetupDiCallClassInstaller = forward(::SetupDiCallClassInstaller);
    platform->SetupDiOpenDevRegKey = forward(::SetupDiOpenDevRegKey);
    platform->SetupDiCreateDevRegKeyW = forward(::SetupDiCreateDevRegKeyW);
    platform->SetupDiGetSelectedDriverW = forward(::SetupDiGetSelectedDriverW);
}

} // namespace platform
