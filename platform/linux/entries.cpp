#include "platform/linux/entries.h"

#include "platform/linux/setupapi.h"
#include "platform/text.h"

#include <algorithm>

namespace platform::linuxsystem {

DialUpEntries::DialUpEntries(const SystemPaths &paths, const Program &program,
                             const std::shared_ptr<StateStore> &store)
    : m_program(program), m_store(store), m_phoneBook(program, paths)
{
}

DWORD DialUpEntries::modems(QList<DialDevice> *list) const
{
    DeviceList known;
    const DWORD code = readDevices(*m_store, &known);
    if (code != Success)
        return code;
    for (const RootDevice &device : std::as_const(known.devices)) {
        // A device without a driver is no modem yet.
        if (!device.friendlyName.isEmpty())
            list->append({"modem", device.friendlyName});
    }
    return Success;
}

DWORD DialUpEntries::write(const QString &name, const RasEntry &entry) const
{
    QList<DialDevice> known;
    const DWORD code = modems(&known);
    if (code != Success)
        return code;
    const QString modem = fromField(entry.szDeviceName);
    const bool isKnown = std::any_of(known.begin(), known.end(),
                                     [&modem](const auto &each) { return each.name == modem; });
    if (!isKnown)
        return ErrorInvalidParameter;
    QString node;
    QString stableNode; // stays empty without a phone
    QList<SerialPortDevice> ports;
    // From now on the phone's number is kept.
    if (presentSerialPorts(m_program, m_store.get(), &ports) == Success)
        findLineOf(entry, ports, &node, &stableNode);
    return m_phoneBook.write(name, entry, stableNode);
}

DWORD DialUpEntries::findLine(const QString &entryName, QString *node) const
{
    RasEntry entry;
    QString stableNode;
    const DWORD code = m_phoneBook.read(entryName, &entry);
    if (code != Success)
        return code;
    QList<SerialPortDevice> ports;
    if (presentSerialPorts(m_program, *m_store, &ports) != Success)
        return RasErrorPortNotAvailable;
    return findLineOf(entry, ports, node, &stableNode);
}

DWORD DialUpEntries::findLineOf(const RasEntry &entry, const QList<SerialPortDevice> &ports,
                                QString *node, QString *stableNode) const
{
    DeviceList list;
    if (readDevices(*m_store, &list) != Success)
        return RasErrorPortNotAvailable;
    QString portName;
    const QString modemName = fromField(entry.szDeviceName);
    for (const RootDevice &device : std::as_const(list.devices)) {
        if (device.friendlyName == modemName)
            portName = device.driverKey.value("AttachedTo");
    }
    if (portName.isEmpty())
        return RasErrorPortNotAvailable;
    for (const SerialPortDevice &port : ports) {
        if (QString("COM%1").arg(port.number) == portName) {
            *node = port.node;
            *stableNode = port.stableNode;
            return Success;
        }
    }
    return RasErrorPortOrDevice;
}

} // namespace platform::linuxsystem
