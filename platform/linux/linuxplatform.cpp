#include "platform/linux/linuxplatform.h"

#include "platform/linux/families.h"
#include "platform/linux/statestore.h"
#include "platform/standin/foreground.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/memory.h"
#include "platform/standin/modules.h"
#include "platform/standin/security.h"

namespace platform::linuxsystem {

LinuxPlatform::LinuxPlatform(const SystemPaths &paths, const Program &program)
{
    const auto handles = std::make_shared<Handles>();
    const auto store = std::make_shared<StateStore>(paths.state);
    provideErrorHandling(this);
    provideForeground(this);
    provideKernelObjects(this, handles);
    provideMemory(this);
    provideModules(this);
    provideConfigManager(this);
    provideDeviceInstallation(this, program, store);
    provideProcess(this, handles);
    provideRas(this, paths, program, store);
    provideSecurity(this);
    provideSerialComm(this, handles, paths, program, store);
    provideSystemInformation(this);
}

} // namespace platform::linuxsystem
