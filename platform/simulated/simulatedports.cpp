#include "platform/simulated/simulatedports.h"

#include "platform/posix/lasterror.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"

namespace platform {

DWORD SimulatedPorts::deviceNodeForPort(int number, QString *node)
{
    if (number == simulated::OnBoardPort) {
        failUnsupported("CreateFileW", "opening the on-board port COM1");
        return ErrorNotSupported;
    }
    simulated::MachineSession session(m_directory);
    const auto ports = simulated::presentPorts(&session);
    if (!ports || !simulated::dropDeadConnections(&session))
        return ErrorGenFailure;
    // The remote access service holds the port of a connection that is up.
    for (const simulated::Connection &connection : session.state.connections) {
        if (connection.port == number)
            return ErrorAccessDenied;
    }
    for (const simulated::PresentPort &port : *ports) {
        if (port.number == number) {
            *node = port.phone.tty;
            return Success;
        }
    }
    return ErrorFileNotFound;
}

} // namespace platform
