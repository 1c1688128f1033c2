#include "platform/standin/ras.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/families.h"
#include "platform/linux/phonebook.h"
#include "platform/linux/portlist.h"
#include "platform/linux/pppddialler.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/text.h"

#include <algorithm>

namespace platform::linuxsystem {

namespace {

const char modemType[] = "modem";

// Bits of RasEntry::dwfOptions that a new entry has.
constexpr DWORD OptionIpHeaderCompression = 0x00000008;
constexpr DWORD OptionRemoteDefaultGateway = 0x00000010;
constexpr DWORD OptionModemLights = 0x00000100;
constexpr DWORD OptionSoftwareCompression = 0x00000200;
constexpr DWORD ProtocolIp = 4; // RASNP_Ip
constexpr DWORD FramingPpp = 1; // RASFP_Ppp
constexpr DWORD TypePhone = 1;  // RASET_Phone

RasConnectionHandle handleOf(const ActiveLink &link)
{
    return reinterpret_cast<RasConnectionHandle>(static_cast<ULONG_PTR>(link.process));
}

/// Remote access over pppd. Connections are read from what pppd itself shows,
/// so a connection that another program made or ended is seen, too. A handle is
/// the number of the link's process.
class PppdMachine : public DialUpMachine
{
public:
    PppdMachine(const SystemPaths &paths, const Program &program,
                const std::shared_ptr<StateStore> &store)
        : m_paths(paths),
          m_program(program),
          m_store(store),
          m_phoneBook(program, paths.peers, paths.drivers + "/DialPhone")
    {
    }

    QList<ActiveConnection> connections() override
    {
        QList<ActiveConnection> list;
        for (const ActiveLink &link : activeLinks(m_phoneBook, m_paths.run)) {
            RasEntry entry = {};
            m_phoneBook.read(link.entryName, &entry); // nameless when it cannot be read
            list.append({handleOf(link), link.entryName, fromField(entry.szDeviceName)});
        }
        return list;
    }

    /// Returns when the link is down, after eight seconds at most; 5 for a link
    /// that another user made.
    DWORD hangUp(RasConnectionHandle handle) override
    {
        for (const ActiveLink &link : activeLinks(m_phoneBook, m_paths.run)) {
            if (handleOf(link) == handle)
                return endLink(link);
        }
        return RasErrorInvalidHandle;
    }

    DWORD devices(QList<DialDevice> *list) override
    {
        DeviceList known;
        const DWORD code = readDevices(*m_store, &known);
        if (code != Success)
            return code;
        for (const RootDevice &device : std::as_const(known.devices)) {
            // A device without a driver is no modem yet.
            if (!device.friendlyName.isEmpty())
                list->append({modemType, device.friendlyName});
        }
        return Success;
    }

    DWORD readEntry(const QString &name, RasEntry *entry) override
    {
        if (!name.isEmpty())
            return m_phoneBook.read(name, entry);
        entry->dwfOptions = OptionIpHeaderCompression | OptionRemoteDefaultGateway |
                            OptionModemLights | OptionSoftwareCompression |
                            EntryPreviewUserPassword | EntryPreviewPhoneNumber;
        entry->dwfNetProtocols = ProtocolIp;
        entry->dwFramingProtocol = FramingPpp;
        entry->dwType = TypePhone;
        setField(entry->szDeviceType, modemType);
        QList<DialDevice> modems;
        if (devices(&modems) == Success && !modems.isEmpty())
            setField(entry->szDeviceName, modems.first().name);
        return Success;
    }

    /// 87 also for a device that is not there: pppd could not be told its line.
    DWORD writeEntry(const QString &name, const RasEntry &entry) override
    {
        QList<DialDevice> modems;
        const DWORD code = devices(&modems);
        if (code != Success)
            return code;
        const QString device = fromField(entry.szDeviceName);
        const bool isKnown = std::any_of(modems.begin(), modems.end(), [&device](const auto &each) {
            return each.name == device;
        });
        return isKnown ? m_phoneBook.write(name, entry) : ErrorInvalidParameter;
    }

    std::unique_ptr<Dialler> dialler(const QString &entryName, const QString &number) override
    {
        const auto findTarget = [this, entryName, number] {
            PppdDialler::Target target;
            target.peer = m_phoneBook.fileName(entryName);
            target.code = findDevice(entryName, &target.device);
            if (target.code == Success && !isDialable(number))
                target.code = ErrorInvalidParameter;
            return target;
        };
        return std::make_unique<PppdDialler>(m_paths.pppd, number, findTarget);
    }

    QString dialTitle(const QString &entryName) const override
    {
        return QObject::tr("Connect %1").arg(entryName);
    }

private:
    /// The line that an entry's modem is attached to, as it is now.
    DWORD findDevice(const QString &entryName, QString *node) const
    {
        RasEntry entry;
        DWORD code = m_phoneBook.read(entryName, &entry);
        if (code != Success)
            return code;
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
        QList<SerialPortDevice> ports;
        code = presentSerialPorts(m_program, m_store.get(), &ports);
        if (code != Success)
            return RasErrorPortNotAvailable;
        for (const SerialPortDevice &port : std::as_const(ports)) {
            if (QString("COM%1").arg(port.number) == portName) {
                *node = port.node;
                return Success;
            }
        }
        return RasErrorPortOrDevice;
    }

    const SystemPaths m_paths;
    const Program m_program;
    const std::shared_ptr<StateStore> m_store;
    const PhoneBook m_phoneBook;
};

} // namespace

void provideRas(Platform *platform, const SystemPaths &paths, const Program &program,
                const std::shared_ptr<StateStore> &store)
{
    platform::provideRas(platform, std::make_shared<PppdMachine>(paths, program, store));
}

} // namespace platform::linuxsystem
