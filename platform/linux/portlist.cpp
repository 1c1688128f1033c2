#include "platform/linux/portlist.h"

#include "platform/linux/udevpointer.h"
#include "platform/standin/machine.h"
#include "platform/text.h"

#include <QSet>

#include <algorithm>

namespace platform::linuxsystem {

namespace {

QString attribute(udev_device *device, const char *name)
{
    const char *value = device ? udev_device_get_sysattr_value(device, name) : nullptr;
    return QString::fromUtf8(value).simplified();
}

QString property(udev_device *device, const QString &name)
{
    return QString::fromUtf8(udev_device_get_property_value(device, name.toUtf8().constData()));
}

/// A line counts if there is hardware for it. The kernel also has nodes for
/// on-board lines that the machine does not have; their type is 0.
bool isThere(udev_device *device, bool isPhoneModem)
{
    if (!udev_device_get_devnode(device) || attribute(device, "type") == "0")
        return false;
    return udev_device_get_parent(device) || isPhoneModem;
}

/// The device's serial number and the interface make an identity that does not
/// depend on the socket or on the order of plugging.
QString identityOf(udev_device *device, udev_device *usb)
{
    if (!usb)
        return QString("tty:") + udev_device_get_sysname(device);
    udev_device *interface =
        udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
    const QStringList parts = {"usb", attribute(usb, "idVendor"), attribute(usb, "idProduct"),
                               attribute(usb, "serial"), attribute(interface, "bInterfaceNumber")};
    return parts.join(':');
}

/// The link that the rule makes for a phone's modem; the node itself for a line
/// without one, as on-board lines keep their names.
QString stableNodeOf(udev_device *device, const Program &program)
{
    const QString start = "/dev/" + program.filePrefix;
    for (const QString &link : property(device, "DEVLINKS").split(' ')) {
        if (link.startsWith(start))
            return link;
    }
    return QString::fromUtf8(udev_device_get_devnode(device));
}

SerialPortDevice describe(udev_device *device, bool isPhoneModem, const Program &program)
{
    udev_device *usb = udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
    SerialPortDevice port;
    port.kernelName = QString::fromUtf8(udev_device_get_sysname(device));
    port.node = QString::fromUtf8(udev_device_get_devnode(device));
    port.stableNode = stableNodeOf(device, program);
    port.identity = identityOf(device, usb);
    port.product = withoutHiddenCharacters(attribute(usb, "product"));
    port.isPhoneModem = isPhoneModem;
    return port;
}

/// In the order of their system paths, so that lines that cannot be told apart
/// are numbered by socket.
QList<SerialPortDevice> enumerate(const Program &program)
{
    QList<SerialPortDevice> ports;
    const UdevPointer<udev> context(udev_new());
    const UdevPointer<udev_enumerate> list(context ? udev_enumerate_new(context.get()) : nullptr);
    if (!list)
        return ports;
    udev_enumerate_add_match_subsystem(list.get(), "tty");
    udev_enumerate_scan_devices(list.get());
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(list.get()))
    {
        const UdevPointer<udev_device> device(
            udev_device_new_from_syspath(context.get(), udev_list_entry_get_name(entry)));
        if (!device)
            continue;
        const bool isPhoneModem = property(device.get(), program.modemPortMark) == "1";
        if (isThere(device.get(), isPhoneModem))
            ports.append(describe(device.get(), isPhoneModem, program));
    }
    return ports;
}

/// The number that Windows would give an on-board line; 0 for other lines.
int onBoardNumber(const SerialPortDevice &port)
{
    const QString prefix = "tty:ttyS";
    bool isNumber = false;
    const int line = port.identity.mid(prefix.size()).toInt(&isNumber);
    return port.identity.startsWith(prefix) && isNumber ? line + 1 : 0;
}

} // namespace

QString friendlyName(const SerialPortDevice &port, const Program &program)
{
    QString name = "Communications Port";
    if (port.isPhoneModem)
        name = program.modemPortName;
    else if (!port.product.isEmpty() && !port.product.contains(program.modemPortWords))
        name = port.product;
    else if (port.identity.startsWith("usb:"))
        name = "USB Serial Port";
    return QString("%1 (COM%2)").arg(name, QString::number(port.number));
}

bool assignNumbers(QList<SerialPortDevice> *ports, QJsonObject *numbers)
{
    QSet<int> taken;
    for (const QJsonValue &number : std::as_const(*numbers))
        taken.insert(number.toInt());

    bool added = false;
    QSet<QString> seen;
    for (SerialPortDevice &port : *ports) {
        // Two devices of the same kind without serial numbers would have the
        // same identity.
        const QString identity = port.identity;
        for (int copy = 2; seen.contains(port.identity); ++copy)
            port.identity = QString("%1#%2").arg(identity).arg(copy);
        seen.insert(port.identity);

        port.number = numbers->value(port.identity).toInt();
        if (port.number > 0)
            continue;
        port.number = onBoardNumber(port);
        if (port.number == 0 || taken.contains(port.number)) {
            port.number = FirstPluggedPort;
            while (taken.contains(port.number))
                ++port.number;
        }
        taken.insert(port.number);
        numbers->insert(port.identity, port.number);
        added = true;
    }
    return added;
}

namespace {

/// The lines with their numbers, the stored ones and new ones.
DWORD number(const Program &program, const StateStore &store, QList<SerialPortDevice> *ports,
             bool *isAnyNew)
{
    *ports = enumerate(program);
    QJsonObject content;
    const DWORD code = store.read(&content);
    if (code != Success)
        return code;
    QJsonObject numbers = content.value("ports").toObject();
    *isAnyNew = assignNumbers(ports, &numbers);
    return Success;
}

void sort(QList<SerialPortDevice> *ports)
{
    std::sort(
        ports->begin(), ports->end(),
        [](const SerialPortDevice &a, const SerialPortDevice &b) { return a.number < b.number; });
}

} // namespace

DWORD presentSerialPorts(const Program &program, const StateStore &store,
                         QList<SerialPortDevice> *ports)
{
    bool isAnyNew = false;
    const DWORD code = number(program, store, ports, &isAnyNew);
    if (code == Success)
        sort(ports);
    return code;
}

DWORD presentSerialPorts(const Program &program, StateStore *store, QList<SerialPortDevice> *ports)
{
    bool isAnyNew = false;
    DWORD code = number(program, *store, ports, &isAnyNew);
    if (code != Success)
        return code;
    if (isAnyNew) {
        // Another program may have stored numbers since then. Those are kept.
        const auto renumber = [ports, &program](QJsonObject *current) {
            QList<SerialPortDevice> again = enumerate(program);
            QJsonObject stored = current->value("ports").toObject();
            const bool added = assignNumbers(&again, &stored);
            current->insert("ports", stored);
            *ports = again;
            return added;
        };
        code = store->change(renumber);
        // Numbers that cannot be stored (no rights, or a full disk) are found
        // again next time. A damaged store is reported.
        if (code == ErrorInvalidData)
            return code;
    }
    sort(ports);
    return Success;
}

} // namespace platform::linuxsystem
