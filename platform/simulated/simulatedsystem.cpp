#include "platform/simulated/simulatedsystem.h"

#include "platform/simulated/deviceinfoset.h"
#include "platform/simulated/openkey.h"

namespace platform {

SimulatedSystem::SimulatedSystem(const QString &stateDirectory, OverlappedSerial *handles)
    : m_directory(stateDirectory), m_handles(handles)
{
}

SimulatedSystem::~SimulatedSystem() = default;

} // namespace platform
