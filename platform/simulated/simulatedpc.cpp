#include "platform/simulated/simulatedpc.h"

#include "platform/posix/lasterror.h"
#include "platform/simulated/deviceinfoset.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/openkey.h"

namespace platform {

SimulatedPc::SimulatedPc(const QString &stateDirectory)
    : m_directory(stateDirectory), m_ports(stateDirectory)
{
}

SimulatedPc::~SimulatedPc() = default;

DWORD SimulatedPc::GetLastError()
{
    return lastError();
}

void SimulatedPc::SetLastError(DWORD dwErrCode)
{
    setLastError(dwErrCode);
}

} // namespace platform
