#include "platform/linux/configmanager.h"

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/udevpointer.h"
#include "platform/platform.h"
#include "platform/standin/devices.h"
#include "platform/standin/lasterror.h"

#include <QSet>
#include <QString>

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

using Clock = std::chrono::steady_clock;

/// Consoles and pseudo-terminals are never ports, and there are hundreds.
bool isConsole(const QString &path)
{
    return path.contains("/devices/virtual/") && !path.contains("/ttyS");
}

/// Asks for an event for every line, so that the rules are applied to it again:
/// "change", as others would take "add" for a new device. The set receives the
/// lines for which it was asked.
ConfigRet triggerAll(udev *context, QSet<QString> *waiting)
{
    waiting->clear();
    const UdevPointer<udev_enumerate> list(udev_enumerate_new(context));
    if (!list)
        return ConfigFailure;
    udev_enumerate_add_match_subsystem(list.get(), "tty");
    udev_enumerate_scan_devices(list.get());
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get()))
    {
        const char *path = udev_list_entry_get_name(entry);
        if (isConsole(path))
            continue;
        const UdevPointer<udev_device> device(udev_device_new_from_syspath(context, path));
        if (!device)
            continue; // unplugged meanwhile
        char action[] = "change";
        const int result = udev_device_set_sysattr_value(device.get(), "uevent", action);
        if (result == -EACCES || result == -EPERM)
            return ConfigAccessDenied;
        if (result >= 0)
            waiting->insert(path);
    }
    return ConfigSuccess;
}

} // namespace

ConfigRet rescanSerialDevices(std::chrono::milliseconds patience)
{
    // Without the udev daemon nobody would answer.
    if (::access("/run/udev/control", F_OK) != 0)
        return ConfigFailure;
    const UdevPointer<udev> context(udev_new());
    // udev tells its listeners of each device when its rules are done with it.
    const UdevPointer<udev_monitor> monitor(
        context ? udev_monitor_new_from_netlink(context.get(), "udev") : nullptr);
    if (!monitor)
        return ConfigFailure;
    udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "tty", nullptr);
    if (udev_monitor_enable_receiving(monitor.get()) < 0)
        return ConfigFailure;

    QSet<QString> waiting;
    ConfigRet triggered = triggerAll(context.get(), &waiting);
    const auto deadline = Clock::now() + patience;
    while (triggered == ConfigSuccess && !waiting.isEmpty()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return ConfigFailure;
        pollfd descriptor = {udev_monitor_get_fd(monitor.get()), POLLIN, 0};
        const int ready = ::poll(&descriptor, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno != EINTR)
            return ConfigFailure;
        if (ready <= 0)
            continue;
        // Reading also clears an error of the socket.
        errno = 0;
        const UdevPointer<udev_device> device(udev_monitor_receive_device(monitor.get()));
        if (device)
            waiting.remove(QString::fromUtf8(udev_device_get_syspath(device.get())));
        else if (errno == ENOBUFS) // answers were lost: ask once more
            triggered = triggerAll(context.get(), &waiting);
        else if (descriptor.revents & ~POLLIN)
            return ConfigFailure;
    }
    return triggered;
}

namespace {

ConfigRet CM_Locate_DevNode_ExA(DEVINST *pdnDevInst, char *pDeviceID, ULONG ulFlags,
                                MachineHandle hMachine)
{
    if (!pdnDevInst)
        return ConfigFailure;
    if (pDeviceID || ulFlags != LocateNormal || hMachine) {
        failUnsupported("CM_Locate_DevNode_ExA", "nodes other than the root");
        return ConfigFailure;
    }
    *pdnDevInst = RootDevNode;
    return ConfigSuccess;
}

ConfigRet reenumerate(HelperClient *helper, DEVINST dnDevInst, ULONG ulFlags,
                      MachineHandle hMachine)
{
    if (dnDevInst != RootDevNode)
        return ConfigInvalidDevNode;
    if (ulFlags != ReenumerateNormal || hMachine) {
        failUnsupported("CM_Reenumerate_DevNode_Ex", "these flags or another machine");
        return ConfigFailure;
    }
    if (!helper->isNeeded())
        return rescanSerialDevices();
    switch (helper->ask(Role::SetUp, rescanRequest())) {
    case Success:
        return ConfigSuccess;
    case ErrorAccessDenied:
    case ErrorCancelled:
        return ConfigAccessDenied;
    default:
        return ConfigFailure;
    }
}

} // namespace

void provideConfigManager(Platform *platform, const std::shared_ptr<HelperClient> &helper)
{
    platform->CM_Locate_DevNode_ExA = CM_Locate_DevNode_ExA;
    platform->CM_Reenumerate_DevNode_Ex = [helper](DEVINST dnDevInst, ULONG ulFlags,
                                                   MachineHandle hMachine) {
        return reenumerate(helper.get(), dnDevInst, ulFlags, hMachine);
    };
}

} // namespace platform::linuxsystem
