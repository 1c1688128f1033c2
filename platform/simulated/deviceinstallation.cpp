#include "platform/simulated/deviceinstallation.h"

#include "platform/platform.h"
#include "platform/simulated/deviceinfoset.h"
#include "platform/simulated/families.h"
#include "platform/simulated/openkey.h"

namespace platform::simulated {

DeviceInstallation::DeviceInstallation(const QString &directory) : m_directory(directory) {}

DeviceInstallation::~DeviceInstallation() = default;

void provideDeviceInstallation(Platform *platform, const QString &directory)
{
    const auto installation = std::make_shared<DeviceInstallation>(directory);
    platform->RegSetValueExW.provide(installation, &DeviceInstallation::RegSetValueExW);
    platform->RegCloseKey.provide(installation, &DeviceInstallation::RegCloseKey);
    platform->SetupCopyOEMInfW.provide(installation, &DeviceInstallation::SetupCopyOEMInfW);
    platform->SetupDiGetINFClassW.provide(installation, &DeviceInstallation::SetupDiGetINFClassW);
    platform->SetupDiGetClassDevsW.provide(installation, &DeviceInstallation::SetupDiGetClassDevsW);
    platform->SetupDiCreateDeviceInfoList.provide(installation,
                                                  &DeviceInstallation::SetupDiCreateDeviceInfoList);
    platform->SetupDiDestroyDeviceInfoList.provide(
        installation, &DeviceInstallation::SetupDiDestroyDeviceInfoList);
    platform->SetupDiEnumDeviceInfo.provide(installation,
                                            &DeviceInstallation::SetupDiEnumDeviceInfo);
    platform->SetupDiGetDeviceRegistryPropertyW.provide(
        installation, &DeviceInstallation::SetupDiGetDeviceRegistryPropertyW);
    platform->SetupDiSetDeviceRegistryPropertyW.provide(
        installation, &DeviceInstallation::SetupDiSetDeviceRegistryPropertyW);
    platform->SetupDiCreateDeviceInfoW.provide(installation,
                                               &DeviceInstallation::SetupDiCreateDeviceInfoW);
    platform->SetupDiGetDeviceInstanceIdW.provide(installation,
                                                  &DeviceInstallation::SetupDiGetDeviceInstanceIdW);
    platform->SetupDiRegisterDeviceInfo.provide(installation,
                                                &DeviceInstallation::SetupDiRegisterDeviceInfo);
    platform->SetupDiCallClassInstaller.provide(installation,
                                                &DeviceInstallation::SetupDiCallClassInstaller);
    platform->SetupDiOpenDevRegKey.provide(installation, &DeviceInstallation::SetupDiOpenDevRegKey);
    platform->SetupDiCreateDevRegKeyW.provide(installation,
                                              &DeviceInstallation::SetupDiCreateDevRegKeyW);
    platform->SetupDiGetSelectedDriverW.provide(installation,
                                                &DeviceInstallation::SetupDiGetSelectedDriverW);
    platform->UpdateDriverForPlugAndPlayDevicesW = [installation](HWND, const WCHAR *hardwareId,
                                                                  const WCHAR *infPath, DWORD flags,
                                                                  BOOL *rebootRequired) {
        return installation->updateDriver(hardwareId, infPath, flags, rebootRequired);
    };
}

} // namespace platform::simulated
