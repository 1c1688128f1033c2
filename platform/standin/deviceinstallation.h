#pragma once

#include "platform/standin/deviceset.h"
#include "platform/standin/machine.h"

#include <memory>

namespace platform {

struct Platform;

/// Device installation over a machine: every operation of SetupApi, Registry
/// and NewDev. It is put together from the parts below.
void provideDeviceInstallation(Platform *platform, const std::shared_ptr<Machine> &machine);

// Each of these fills some slots; the file of its name holds it. The parts that
// take devices of a set share one table of sets.

/// What lists, makes, registers and removes devices. What is not registered
/// lives in its set only.
void provideSetupApi(Platform *platform, const std::shared_ptr<Machine> &machine,
                     const std::shared_ptr<DeviceSets> &sets);

/// Friendly name and hardware ids of the devices of a set.
void provideDeviceProperties(Platform *platform, const std::shared_ptr<Machine> &machine,
                             const std::shared_ptr<DeviceSets> &sets);

/// The driver keys of registered devices and their text values: the only part
/// of a registry that the program asks for.
void provideRegistry(Platform *platform, const std::shared_ptr<Machine> &machine,
                     const std::shared_ptr<DeviceSets> &sets);

/// Copying INFs into the store and reading their class.
void provideInfStore(Platform *platform, const std::shared_ptr<Machine> &machine);

/// The driver update, which gives devices the name that their INF has for them.
void provideNewDev(Platform *platform, const std::shared_ptr<Machine> &machine);

} // namespace platform
