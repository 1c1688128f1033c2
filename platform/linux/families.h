#pragma once

#include "platform/linux/systempaths.h"
#include "platform/posix/kernelobjects.h"

#include <memory>

// Each of these fills the slots of one family; the file of the family's name
// holds it. What they are given lives as long as the slots. Any thread may call
// what they provide, RasDialDlgW excepted.
namespace platform::linuxsystem {

class StateStore;

/// Rescans through udev.
void provideConfigManager(Platform *platform);

/// Programs are started as they are; the system's own shell reads nothing.
void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles);

/// Remote access over pppd.
void provideRas(Platform *platform, const SystemPaths &paths, const Program &program,
                const std::shared_ptr<StateStore> &store);

/// The COM ports of this machine. A line that another program has announced as
/// its own, or opened for itself alone, answers 5.
void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const SystemPaths &paths, const Program &program,
                       const std::shared_ptr<StateStore> &store);

/// SetupApi, Registry and NewDev.
void provideDeviceInstallation(Platform *platform, const Program &program,
                               const std::shared_ptr<StateStore> &store);

/// Answers as the newest release of Windows that the phone's drivers know.
void provideSystemInformation(Platform *platform);

} // namespace platform::linuxsystem
