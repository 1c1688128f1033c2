#include "platform/simulated/simulatedpc.h"

namespace platform {

SimulatedParts::SimulatedParts(const QString &stateDirectory)
    : ports(stateDirectory), system(stateDirectory, &ports)
{
}

SimulatedPc::SimulatedPc(const QString &stateDirectory)
    : SimulatedParts(stateDirectory),
      ComposedPlatform(
          {&ports, &memory, &system, &system, &system, &system, &ports, &system, &system})
{
}

} // namespace platform
