#include "platform/configmanager.h"

#include "platform/posix/lasterror.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedsystem.h"
#include "platform/simulated/usbbus.h"

#include <QThread>

namespace platform {

namespace {

constexpr ConfigRet InvalidPointer = 3;      // CR_INVALID_POINTER
constexpr ConfigRet InvalidNode = 5;         // CR_INVALID_DEVNODE
constexpr ConfigRet NoSuchNode = 13;         // CR_NO_SUCH_DEVNODE
constexpr ConfigRet CallNotImplemented = 32; // CR_CALL_NOT_IMPLEMENTED
constexpr ULONG ReenumerateSynchronous = 1;  // CM_REENUMERATE_SYNCHRONOUS
constexpr DEVINST RootNode = 1;

} // namespace

ConfigRet SimulatedSystem::locateDevNode(DEVINST *node, const char *deviceId, ULONG flags,
                                         MachineHandle machine)
{
    if (!node)
        return InvalidPointer;
    if (flags != LocateNormal || machine) {
        failUnsupported("CM_Locate_DevNode_ExA", "flags and other machines");
        return CallNotImplemented;
    }
    if (!deviceId || !*deviceId) {
        *node = RootNode;
        return ConfigSuccess;
    }
    const QString wanted = QString::fromLatin1(deviceId).toUpper();
    const simulated::MachineSession session(m_directory);
    for (const simulated::Device &device : session.state.devices) {
        if (device.instanceId == wanted) {
            *node = static_cast<DEVINST>(device.devInst);
            return ConfigSuccess;
        }
    }
    return NoSuchNode;
}

ConfigRet SimulatedSystem::reenumerateDevNode(DEVINST node, ULONG flags, MachineHandle machine)
{
    if (machine || (flags != ReenumerateNormal && flags != ReenumerateSynchronous)) {
        failUnsupported("CM_Reenumerate_DevNode_Ex", "flags and other machines");
        return CallNotImplemented;
    }
    int duration = 0;
    {
        const simulated::MachineSession session(m_directory);
        duration = session.state.rescanDurationMs;
    }
    if (node != RootNode)
        return InvalidNode;
    // The time that a bus takes; a driver that is installed meanwhile counts.
    QThread::msleep(static_cast<unsigned long>(duration));
    simulated::MachineSession session(m_directory);
    simulated::rescanBus(&session.state);
    return session.save() ? ConfigSuccess : ConfigFailure;
}

} // namespace platform
