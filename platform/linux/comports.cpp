#include "platform/linux/comports.h"

#include "platform/linux/seriallock.h"
#include "platform/linux/serialports.h"

namespace platform {

ComPorts::ComPorts(const SystemPaths &paths, StateStore *store) : m_paths(paths), m_store(store) {}

DWORD ComPorts::deviceNodeForPort(int number, QString *node)
{
    QList<SerialPortDevice> ports;
    const DWORD code = presentSerialPorts(m_store, &ports);
    if (code != Success)
        return code;
    for (const SerialPortDevice &port : std::as_const(ports)) {
        if (port.number != number)
            continue;
        if (isLineLocked(m_paths.locks, port.kernelName))
            return ErrorAccessDenied;
        *node = port.node;
        return Success;
    }
    return ErrorFileNotFound;
}

} // namespace platform
