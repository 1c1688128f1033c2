#pragma once

#include "platform/linux/systempaths.h"
#include "platform/posix/kernelobjects.h"

#include <memory>

// Each function fills the slots of one family and is in the file of that name.
// The slots keep alive what the functions are given. Any thread may call the
// operations; RasDialDlgW is for the GUI thread. What this process has no rights
// for, the helper does (helper/client.h).
namespace platform::linuxsystem {

class HelperClient;
class Notices;
class StateStore;

/// Rescans through udev.
void provideConfigManager(Platform *platform, const std::shared_ptr<HelperClient> &helper);

/// Programs are started directly, without a shell; the installer of the driver
/// package by the helper, where it is needed.
void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const SystemPaths &paths, const std::shared_ptr<HelperClient> &helper);

/// Remote access over pppd.
void provideRas(Platform *platform, const SystemPaths &paths, const Program &program,
                const std::shared_ptr<StateStore> &store,
                const std::shared_ptr<HelperClient> &helper);

/// The COM ports of this machine. Opening a line that another program has
/// locked or opened exclusively fails with 5. If it is a phone's, ModemManager is
/// asked to let it go first, and the user is told about any other program.
void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const SystemPaths &paths, const Program &program,
                       const std::shared_ptr<StateStore> &store,
                       const std::shared_ptr<HelperClient> &helper,
                       const std::shared_ptr<Notices> &notices);

/// Fills three families: SetupApi, Registry and NewDev. In setupapi.cpp. The user is
/// told when what is kept of the devices is damaged.
void provideDeviceInstallation(Platform *platform, const Program &program,
                               const std::shared_ptr<StateStore> &store,
                               const std::shared_ptr<HelperClient> &helper,
                               const std::shared_ptr<Notices> &notices);

/// Answers as the newest release of Windows that the phone's drivers know.
void provideSystemInformation(Platform *platform);

} // namespace platform::linuxsystem
