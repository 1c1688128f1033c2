#include "platform/platform.h"
#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/lasterror.h"

#include <QThread>

namespace platform::simulated {

namespace {

constexpr ConfigRet InvalidPointer = 3;      // CR_INVALID_POINTER
constexpr ConfigRet NoSuchNode = 13;         // CR_NO_SUCH_DEVNODE
constexpr ConfigRet CallNotImplemented = 32; // CR_CALL_NOT_IMPLEMENTED
constexpr ULONG ReenumerateSynchronous = 1;  // CM_REENUMERATE_SYNCHRONOUS

class DeviceTree
{
public:
    explicit DeviceTree(const QString &directory) : m_directory(directory) {}

    ConfigRet CM_Locate_DevNode_ExA(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                                    MachineHandle hMachine)
    {
        if (!pdnDevInst)
            return InvalidPointer;
        if (ulFlags != LocateNormal || hMachine) {
            failUnsupported("CM_Locate_DevNode_ExA", "flags and other machines");
            return CallNotImplemented;
        }
        if (!pDeviceID || !*pDeviceID) {
            *pdnDevInst = RootDevNode;
            return ConfigSuccess;
        }
        const QString wanted = QString::fromLatin1(pDeviceID).toUpper();
        const MachineSession session(m_directory);
        for (const RootDevice &device : session.state.devices) {
            if (device.instanceId == wanted) {
                *pdnDevInst = device.devInst;
                return ConfigSuccess;
            }
        }
        return NoSuchNode;
    }

    ConfigRet CM_Reenumerate_DevNode_Ex(DEVINST dnDevInst, ULONG ulFlags, MachineHandle hMachine)
    {
        if (hMachine || (ulFlags != ReenumerateNormal && ulFlags != ReenumerateSynchronous)) {
            failUnsupported("CM_Reenumerate_DevNode_Ex", "flags and other machines");
            return CallNotImplemented;
        }
        if (dnDevInst != RootDevNode)
            return ConfigInvalidDevNode;
        int duration = 0;
        {
            const MachineSession session(m_directory);
            if (!session.state.administrator)
                return ConfigAccessDenied;
            duration = session.state.rescanDurationMs;
        }
        // The time that a bus takes; a driver that is installed meanwhile counts.
        QThread::msleep(static_cast<unsigned long>(duration));
        MachineSession session(m_directory);
        rescanBus(&session.state);
        return session.save() ? ConfigSuccess : ConfigFailure;
    }

private:
    const QString m_directory;
};

} // namespace

void provideConfigManager(Platform *platform, const QString &directory)
{
    const auto tree = std::make_shared<DeviceTree>(directory);
    platform->CM_Locate_DevNode_ExA.provide(tree, &DeviceTree::CM_Locate_DevNode_ExA);
    platform->CM_Reenumerate_DevNode_Ex.provide(tree, &DeviceTree::CM_Reenumerate_DevNode_Ex);
}

} // namespace platform::simulated
