#include "platform/linux/linuxplatform.h"

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/messagenotices.h"
#include "platform/linux/statestore.h"
#include "platform/standin/foreground.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/memory.h"
#include "platform/standin/modules.h"
#include "platform/standin/security.h"

#include <unistd.h>

namespace platform::linuxsystem {

LinuxPlatform::LinuxPlatform(const SystemPaths &paths, const Program &program)
{
    const auto handles = std::make_shared<Handles>();
    const auto store = std::make_shared<StateStore>(paths.state);
    const auto helper = std::make_shared<HelperClient>(paths);
    const auto notices = std::make_shared<MessageNotices>();
    provideErrorHandling(this);
    provideForeground(this);
    provideKernelObjects(this, handles);
    provideMemory(this);
    provideModules(this);
    provideConfigManager(this, helper);
    provideDeviceInstallation(this, program, store, helper, notices);
    provideProcess(this, handles, paths, helper);
    provideRas(this, paths, program, store, helper);
    provideSecurity(this, [] { return ::geteuid() == 0; });
    provideSerialComm(this, handles, paths, program, store, helper, notices);
    provideSystemInformation(this);
}

} // namespace platform::linuxsystem
