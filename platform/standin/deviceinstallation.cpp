#include "platform/standin/deviceinstallation.h"

namespace platform {

void provideDeviceInstallation(Platform *platform, const std::shared_ptr<Machine> &machine)
{
    const auto sets = std::make_shared<DeviceSets>();
    provideSetupApi(platform, machine, sets);
    provideDeviceProperties(platform, machine, sets);
    provideRegistry(platform, machine, sets);
    provideInfStore(platform, machine);
    provideNewDev(platform, machine);
}

} // namespace platform
