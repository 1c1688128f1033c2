#include "platform/standin/ras.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/entries.h"
#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/pppddialler.h"
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
                const std::shared_ptr<StateStore> &store,
                const std::shared_ptr<HelperClient> &helper)
        : m_paths(paths), m_entries(paths, program, store), m_helper(helper)
    {
    }

    /// The user's own connections come first: another user's entry may have the
    /// same name.
    QList<ActiveConnection> connections() override
    {
        QList<ActiveLink> links = activeLinks(phoneBook(), m_paths.run);
        std::stable_partition(links.begin(), links.end(),
                              [this](const ActiveLink &link) { return isOwn(link); });
        QList<ActiveConnection> list;
        for (const ActiveLink &link : std::as_const(links)) {
            RasEntry entry = {};
            if (isOwn(link))
                phoneBook().read(link.entryName, &entry); // nameless when it cannot be read
            list.append({handleOf(link), link.entryName, fromField(entry.szDeviceName)});
        }
        return list;
    }

    /// Returns when the link is down, after eight seconds at most. For a link that
    /// another user made somebody with the rights is asked: 5 or 1223 without
    /// them.
    DWORD hangUp(RasConnectionHandle handle) override
    {
        for (const ActiveLink &link : activeLinks(phoneBook(), m_paths.run)) {
            if (handleOf(link) != handle)
                continue;
            return m_helper->isNeeded()
                       ? m_helper->ask(isOwn(link) ? Role::Connect : Role::EndOthers,
                                       hangUpRequest(link.process))
                       : endLink(link);
        }
        return RasErrorInvalidHandle;
    }

    DWORD devices(QList<DialDevice> *list) override { return m_entries.modems(list); }

    DWORD readEntry(const QString &name, RasEntry *entry) override
    {
        if (!name.isEmpty())
            return phoneBook().read(name, entry);
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

    DWORD writeEntry(const QString &name, const RasEntry &entry) override
    {
        return m_helper->isNeeded() ? m_helper->ask(Role::SetUp, writeEntryRequest(name, entry))
                                    : m_entries.write(name, entry);
    }

    std::unique_ptr<Dialler> dialler(const QString &entryName, const QString &number) override
    {
        const auto findTarget = [this, entryName, number] {
            PppdDialler::Target target;
            target.peer = phoneBook().fileName(entryName);
            target.code = m_entries.findLine(entryName, &target.device);
            if (target.code == Success && !isDialable(number))
                target.code = ErrorInvalidParameter;
            return target;
        };
        return std::make_unique<PppdDialler>(helperCommand(m_paths, Role::Connect), number,
                                             findTarget);
    }

    QString dialTitle(const QString &entryName) const override
    {
        return QObject::tr("Connect %1").arg(entryName);
    }

private:
    const PhoneBook &phoneBook() const { return m_entries.phoneBook(); }
    bool isOwn(const ActiveLink &link) const { return link.owner == m_paths.user; }

    const SystemPaths m_paths;
    const DialUpEntries m_entries;
    const std::shared_ptr<HelperClient> m_helper;
};

} // namespace

void provideRas(Platform *platform, const SystemPaths &paths, const Program &program,
                const std::shared_ptr<StateStore> &store,
                const std::shared_ptr<HelperClient> &helper)
{
    platform::provideRas(platform, std::make_shared<PppdMachine>(paths, program, store, helper));
}

} // namespace platform::linuxsystem
