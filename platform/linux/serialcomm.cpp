#include "platform/posix/serialcomm.h"

#include "platform/linux/families.h"
#include "platform/linux/seriallock.h"
#include "platform/linux/serialports.h"

namespace platform::linuxsystem {

void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const SystemPaths &paths, const Program &program,
                       const std::shared_ptr<StateStore> &store)
{
    const auto deviceNodeForPort = [locks = paths.locks, program, store](int number,
                                                                         QString *node) -> DWORD {
        QList<SerialPortDevice> ports;
        const DWORD code = presentSerialPorts(program, store.get(), &ports);
        if (code != Success)
            return code;
        for (const SerialPortDevice &port : std::as_const(ports)) {
            if (port.number != number)
                continue;
            if (isLineLocked(locks, port.kernelName))
                return ErrorAccessDenied;
            *node = port.node;
            return Success;
        }
        return ErrorFileNotFound;
    };
    platform::provideSerialComm(platform, handles, deviceNodeForPort);
}

} // namespace platform::linuxsystem
