#pragma once

#include "platform/posix/overlappedserial.h"

#include <QString>

namespace platform {

/// The simulated PC's COM ports: the serial lines of the phones in its USB
/// sockets. The port of a connection that is up answers 5, the on-board port 50.
class SimulatedPorts : public OverlappedSerial
{
public:
    explicit SimulatedPorts(const QString &stateDirectory) : m_directory(stateDirectory) {}

protected:
    DWORD deviceNodeForPort(int number, QString *node) override;

private:
    const QString m_directory;
};

} // namespace platform
