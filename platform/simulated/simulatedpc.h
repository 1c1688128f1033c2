#pragma once

#include "platform/posix/composedplatform.h"
#include "platform/posix/posixmemory.h"
#include "platform/simulated/simulatedports.h"
#include "platform/simulated/simulatedsystem.h"

namespace platform {

/// The parts of the simulated PC; a base class so that they exist before the
/// platform that is put together from them.
struct SimulatedParts {
    explicit SimulatedParts(const QString &stateDirectory);

    SimulatedPorts ports;
    PosixMemory memory;
    SimulatedSystem system;
};

/// A PC that is not there: the operating system's side of every call, over a
/// state directory that several processes may share. What it does not model
/// it refuses with ErrorNotSupported and a line on standard error.
class SimulatedPc : private SimulatedParts, public ComposedPlatform
{
public:
    explicit SimulatedPc(const QString &stateDirectory);
};

} // namespace platform
