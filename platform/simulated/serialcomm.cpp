#include "platform/posix/serialcomm.h"

#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/lasterror.h"

namespace platform::simulated {

namespace {

DWORD deviceNodeForPort(const QString &directory, int number, QString *node)
{
    if (number == OnBoardPort) {
        failUnsupported("CreateFileW", "opening the on-board port COM1");
        return ErrorNotSupported;
    }
    MachineSession session(directory);
    const auto ports = presentPorts(&session);
    if (!ports || !dropDeadConnections(&session))
        return ErrorGenFailure;
    // The remote access service holds the port of a connection that is up.
    for (const Connection &connection : session.state.connections) {
        if (connection.port == number)
            return ErrorAccessDenied;
    }
    for (const PresentPort &port : *ports) {
        if (port.number == number) {
            *node = port.phone.tty;
            return Success;
        }
    }
    return ErrorFileNotFound;
}

} // namespace

void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const QString &directory)
{
    platform::provideSerialComm(platform, handles, [directory](int number, QString *node) {
        return deviceNodeForPort(directory, number, node);
    });
}

} // namespace platform::simulated
