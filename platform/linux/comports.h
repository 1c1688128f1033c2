#pragma once

#include "platform/linux/statestore.h"
#include "platform/linux/systempaths.h"
#include "platform/posix/overlappedserial.h"

namespace platform {

/// The COM ports of this machine. A line that another program has announced
/// as its own, or opened for itself alone, answers 5.
class ComPorts : public OverlappedSerial
{
public:
    ComPorts(const SystemPaths &paths, StateStore *store);

protected:
    DWORD deviceNodeForPort(int number, QString *node) override;

private:
    const SystemPaths m_paths;
    StateStore *m_store;
};

} // namespace platform
