#include "platform/simulated/simulatedpc.h"

#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "platform/standin/foreground.h"
#include "platform/standin/lasterror.h"
#include "platform/standin/memory.h"
#include "platform/standin/modules.h"
#include "platform/standin/security.h"

#include <cstring>

namespace platform::simulated {

SimulatedPc::SimulatedPc(const QString &stateDirectory)
{
    const auto handles = std::make_shared<Handles>();
    const auto exports = [stateDirectory](const char *function) {
        return std::strcmp(function, "GetNativeSystemInfo") != 0 ||
               MachineSession(stateDirectory).state.windows.nativeSystemInfo;
    };
    const auto isAdministrator = [stateDirectory] {
        return MachineSession(stateDirectory).state.administrator;
    };
    provideErrorHandling(this);
    provideForeground(this);
    provideKernelObjects(this, handles);
    provideMemory(this);
    provideModules(this, exports);
    provideConfigManager(this, stateDirectory);
    provideDeviceInstallation(this, stateDirectory);
    provideProcess(this, handles, stateDirectory);
    provideRas(this, stateDirectory);
    provideSecurity(this, isAdministrator);
    provideSerialComm(this, handles, stateDirectory);
    provideSystemInformation(this, stateDirectory);
}

} // namespace platform::simulated
