#include "platform/linux/activelinks.h"
#include "platform/linux/dialdialog.h"
#include "platform/linux/families.h"
#include "platform/linux/phonebook.h"
#include "platform/linux/serialports.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

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

/// The protocol of the two lists: the size needed is always told.
template<class Record>
DWORD beginList(const Record *first, DWORD declaredSize, DWORD *bytes, DWORD *count, int found)
{
    if (!bytes || !count)
        return ErrorInvalidParameter;
    if (first && first->dwSize != declaredSize)
        return RasErrorInvalidSize;
    const DWORD needed = static_cast<DWORD>(found) * DWORD(sizeof(Record));
    const bool fits = needed == 0 || (first && *bytes >= needed);
    *bytes = needed;
    *count = static_cast<DWORD>(found);
    return fits ? Success : RasErrorBufferTooSmall;
}

/// Remote access over pppd. Connections are what pppd itself shows, so that
/// one made or ended outside this program is seen; a handle stands for the
/// link's process. The default phone book is the only one.
class RemoteAccess
{
public:
    RemoteAccess(const SystemPaths &paths, std::shared_ptr<StateStore> store)
        : m_paths(paths),
          m_store(std::move(store)),
          m_phoneBook(paths.peers, paths.drivers + "/DialPhone")
    {
    }

    DWORD RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb, DWORD *lpcConnections)
    {
        const QList<ActiveLink> links = activeLinks(m_paths.run);
        const DWORD code = beginList(lprasconn, RasConnectionSize, lpcb, lpcConnections,
                                     static_cast<int>(links.size()));
        if (code != Success)
            return code;
        for (int index = 0; index < links.size(); ++index) {
            RasConnection &record = lprasconn[index];
            record = {};
            record.dwSize = RasConnectionSize;
            record.hrasconn = handleOf(links.at(index));
            setField(record.szEntryName, links.at(index).entryName);
            setField(record.szDeviceType, modemType);
            RasEntry entry;
            if (m_phoneBook.read(links.at(index).entryName, &entry) == Success)
                setField(record.szDeviceName, fromField(entry.szDeviceName));
            setField(record.szPhonebook, m_paths.peers);
        }
        return Success;
    }

    /// Returns when the link is down, after eight seconds at most; 5 for a link
    /// that another user made.
    DWORD RasHangUpW(RasConnectionHandle hrasconn)
    {
        for (const ActiveLink &link : activeLinks(m_paths.run)) {
            if (handleOf(link) == hrasconn)
                return endLink(link);
        }
        return RasErrorInvalidHandle;
    }

    BOOL RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                     RasDialDialog *lpInfo)
    {
        if (!lpInfo)
            return fail(ErrorInvalidParameter);
        if (lpInfo->dwSize != RasDialDialogSize) {
            lpInfo->dwError = RasErrorInvalidSize;
            return 0;
        }
        if (!lpszEntry || lpszEntry[0] == 0) {
            lpInfo->dwError = ErrorInvalidParameter;
            return 0;
        }
        if (lpszPhonebook) {
            failUnsupported("RasDialDlgW", "other phone books");
            lpInfo->dwError = RasErrorCannotOpenPhonebook;
            return 0;
        }
        if (lpInfo->hwndOwner || lpInfo->dwFlags != 0 || lpInfo->dwSubEntry != 0) {
            failUnsupported("RasDialDlgW", "owners and sub-entries");
            lpInfo->dwError = ErrorNotSupported;
            return 0;
        }

        const QString entryName = fromWide(lpszEntry);
        QString number = lpszPhoneNumber ? fromWide(lpszPhoneNumber) : QString();
        RasEntry entry;
        if (number.isEmpty() && m_phoneBook.read(entryName, &entry) == Success)
            number = fromField(entry.szLocalPhoneNumber);
        const auto findTarget = [this, entryName, number] {
            DialDialog::Target target;
            target.peer = PhoneBook::fileName(entryName);
            target.code = findDevice(entryName, &target.device);
            if (target.code == Success && !isDialable(number))
                target.code = ErrorInvalidParameter;
            return target;
        };
        DialDialog dialog(entryName, number, m_paths.pppd, findTarget);
        const bool accepted = dialog.exec() == QDialog::Accepted;
        lpInfo->dwError = dialog.lastError();
        if (accepted)
            return 1;
        // The link may have come up in the moment in which it was cancelled.
        for (const ActiveLink &link : activeLinks(m_paths.run)) {
            if (dialog.wasCancelledWhileDialling() && link.entryName == entryName)
                endLink(link);
        }
        return 0;
    }

    DWORD RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
    {
        QStringList names;
        DWORD code = deviceNames(&names);
        if (code != Success)
            return code;
        code = beginList(lpRasDevInfo, RasDeviceInfoSize, lpcb, lpcDevices,
                         static_cast<int>(names.size()));
        if (code != Success)
            return code;
        for (int index = 0; index < names.size(); ++index) {
            RasDeviceInfo &record = lpRasDevInfo[index];
            record = {};
            record.dwSize = RasDeviceInfoSize;
            setField(record.szDeviceType, modemType);
            setField(record.szDeviceName, names.at(index));
        }
        return Success;
    }

    DWORD RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                 BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize)
    {
        if (!lpszEntry || !lpdwEntryInfoSize)
            return ErrorInvalidParameter;
        if (lpszPhonebook) {
            failUnsupported("RasGetEntryPropertiesW", "other phone books");
            return RasErrorCannotOpenPhonebook;
        }
        if (lpbDeviceInfo) {
            failUnsupported("RasGetEntryPropertiesW", "device information blocks");
            return ErrorNotSupported;
        }
        RasEntry entry = defaultEntry();
        if (lpszEntry[0] != 0) {
            const DWORD code = m_phoneBook.read(fromWide(lpszEntry), &entry);
            if (code != Success)
                return code;
        }
        const DWORD given = *lpdwEntryInfoSize;
        *lpdwEntryInfoSize = RasEntrySize;
        if (lpdwDeviceInfoSize)
            *lpdwDeviceInfoSize = 0;
        if (!lpRasEntry || given < RasEntrySize)
            return RasErrorBufferTooSmall;
        if (lpRasEntry->dwSize != RasEntrySize)
            return RasErrorInvalidSize;
        *lpRasEntry = entry;
        return Success;
    }

    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD)
    {
        if (lpszPhonebook) {
            failUnsupported("RasSetEntryPropertiesW", "other phone books");
            return RasErrorCannotOpenPhonebook;
        }
        if (!lpRasEntry || dwEntryInfoSize < RasEntrySize)
            return RasErrorInvalidBuffer;
        if (lpRasEntry->dwSize != RasEntrySize)
            return lpRasEntry->dwSize == 0 ? ErrorInvalidParameter : RasErrorInvalidSize;
        if (lpbDeviceInfo) {
            failUnsupported("RasSetEntryPropertiesW", "device information blocks");
            return ErrorNotSupported;
        }
        QStringList names;
        const DWORD code = deviceNames(&names);
        if (code != Success)
            return code;
        if (!lpszEntry || !names.contains(fromField(lpRasEntry->szDeviceName)))
            return ErrorInvalidParameter;
        return m_phoneBook.write(fromWide(lpszEntry), *lpRasEntry);
    }

private:
    DWORD deviceNames(QStringList *names) const
    {
        DeviceList list;
        const DWORD code = readDevices(*m_store, &list);
        if (code != Success)
            return code;
        for (const RootDevice &device : std::as_const(list.devices)) {
            // A device without a driver is no modem yet.
            if (!device.friendlyName.isEmpty())
                names->append(device.friendlyName);
        }
        return Success;
    }

    RasEntry defaultEntry() const
    {
        RasEntry entry = {};
        entry.dwSize = RasEntrySize;
        entry.dwfOptions = OptionIpHeaderCompression | OptionRemoteDefaultGateway |
                           OptionModemLights | OptionSoftwareCompression |
                           EntryPreviewUserPassword | EntryPreviewPhoneNumber;
        entry.dwfNetProtocols = ProtocolIp;
        entry.dwFramingProtocol = FramingPpp;
        entry.dwType = TypePhone;
        setField(entry.szDeviceType, modemType);
        QStringList names;
        if (deviceNames(&names) == Success && !names.isEmpty())
            setField(entry.szDeviceName, names.first());
        return entry;
    }

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
        code = presentSerialPorts(m_store.get(), &ports);
        if (code != Success)
            return RasErrorPortNotAvailable;
        for (const SerialPortDevice &port : std::as_const(ports)) {
            if (QString("COM%1").arg(port.number) == portName) {
                *node = port.node;
                return Success;
            }
        }
        return RasErrorHardwareFailure;
    }

    const SystemPaths m_paths;
    const std::shared_ptr<StateStore> m_store;
    const PhoneBook m_phoneBook;
};

} // namespace

void provideRas(Platform *platform, const SystemPaths &paths,
                const std::shared_ptr<StateStore> &store)
{
    const auto access = std::make_shared<RemoteAccess>(paths, store);
    platform->RasEnumConnectionsW.provide(access, &RemoteAccess::RasEnumConnectionsW);
    platform->RasHangUpW.provide(access, &RemoteAccess::RasHangUpW);
    platform->RasDialDlgW.provide(access, &RemoteAccess::RasDialDlgW);
    platform->RasEnumDevicesW.provide(access, &RemoteAccess::RasEnumDevicesW);
    platform->RasGetEntryPropertiesW.provide(access, &RemoteAccess::RasGetEntryPropertiesW);
    platform->RasSetEntryPropertiesW.provide(access, &RemoteAccess::RasSetEntryPropertiesW);
}

} // namespace platform::linuxsystem
