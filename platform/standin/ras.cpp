#include "platform/standin/ras.h"

#include "platform/platform.h"
#include "platform/standin/dialdialog.h"
#include "platform/standin/entryname.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QCoreApplication>
#include <QThread>

#include <algorithm>
#include <cstring>

namespace platform {

namespace {

constexpr DWORD ErrorInvalidName = 123; // ERROR_INVALID_NAME

// The entry record grew from release to release: RasEntrySize is Windows 2000's.
// The older records are still taken.
constexpr DWORD EntrySizeOfXp = 5616;
constexpr DWORD EntrySizeOfVista = 5656;
constexpr DWORD EntrySizeOf7 = 5680;
constexpr DWORD OwnEntrySize = EntrySizeOf7; ///< which the stand-ins report

bool isKnownEntrySize(DWORD size)
{
    return size == RasEntrySize || size == EntrySizeOfXp || size == EntrySizeOfVista ||
           size == OwnEntrySize;
}

/// Refuses what only another phone book or a device's own block could answer.
DWORD checkBooks(const char *operation, const WCHAR *phonebook, const void *deviceInfo)
{
    if (phonebook) {
        failUnsupported(operation, "other phone books");
        return RasErrorCannotOpenPhonebook;
    }
    if (deviceInfo) {
        failUnsupported(operation, "device information blocks");
        return ErrorNotSupported;
    }
    return Success;
}

/// The protocol of the two lists: size and count are told in every case. An
/// empty list needs no buffer, but one that is given has to hold the record that
/// it declares.
template<class Record>
DWORD tellSize(const Record *first, DWORD *bytes, DWORD *count, qsizetype found)
{
    const DWORD ofList = static_cast<DWORD>(found) * DWORD(sizeof(Record));
    const DWORD needed = first ? std::max(ofList, first->dwSize) : ofList;
    const bool fits = needed == 0 || (first && *bytes >= needed);
    *bytes = fits ? ofList : needed;
    *count = static_cast<DWORD>(found);
    return fits ? Success : RasErrorBufferTooSmall;
}

/// The least that an entry needs to be stored.
bool isComplete(const RasEntry &entry)
{
    return entry.dwfOptions != 0 && entry.dwFramingProtocol != 0 && entry.dwType != 0 &&
           entry.szLocalPhoneNumber[0] != 0 && entry.szDeviceType[0] != 0 &&
           entry.szDeviceName[0] != 0;
}

class RemoteAccess
{
public:
    explicit RemoteAccess(const std::shared_ptr<DialUpMachine> &machine) : m_machine(machine) {}

    DWORD RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb, DWORD *lpcConnections)
    {
        if (!lpcb || !lpcConnections)
            return ErrorInvalidParameter;
        // The first record's size is the caller's version of the interface; it is
        // looked at before anything is counted.
        const DWORD size = lprasconn ? lprasconn->dwSize : RasConnectionSize;
        if (size != RasConnectionSize && size != sizeof(RasConnection))
            return RasErrorInvalidSize;
        const QList<ActiveConnection> connections = m_machine->connections();
        const DWORD code = tellSize(lprasconn, lpcb, lpcConnections, connections.size());
        if (code != Success || !lprasconn)
            return code; // without a record only an empty list fits
        for (const ActiveConnection &connection : connections) {
            RasConnection record = {};
            record.dwSize = size;
            record.hrasconn = connection.handle;
            setField(record.szEntryName, connection.entry);
            setField(record.szDeviceType, "modem");
            setField(record.szDeviceName, connection.device);
            // Only what the declared size covers belongs to the caller's record.
            std::memcpy(static_cast<void *>(lprasconn++), &record, size);
        }
        return Success;
    }

    DWORD RasHangUpW(RasConnectionHandle hrasconn) { return m_machine->hangUp(hrasconn); }

    BOOL RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                     RasDialDialog *lpInfo)
    {
        if (!lpInfo)
            return fail(ErrorInvalidParameter);
        lpInfo->dwError = Success;
        if (lpInfo->dwSize != RasDialDialogSize)
            lpInfo->dwError = RasErrorInvalidSize;
        else if (!lpszEntry || lpszEntry[0] == 0)
            lpInfo->dwError = ErrorInvalidParameter;
        else
            lpInfo->dwError = checkBooks("RasDialDlgW", lpszPhonebook, nullptr);
        if (lpInfo->dwError != Success)
            return 0;
        if (lpInfo->dwFlags != 0 || lpInfo->dwSubEntry != 0 || lpInfo->hwndOwner ||
            !QCoreApplication::instance() ||
            QThread::currentThread() != QCoreApplication::instance()->thread()) {
            failUnsupported("RasDialDlgW", "owners, positions, sub-entries and other threads");
            lpInfo->dwError = ErrorNotSupported;
            return 0;
        }
        const QString number = lpszPhoneNumber ? fromWide(lpszPhoneNumber) : QString();
        return dial(fromWide(lpszEntry), number, &lpInfo->dwError) ? 1 : 0;
    }

    DWORD RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
    {
        if (!lpcb || !lpcDevices)
            return ErrorInvalidParameter;
        if (lpRasDevInfo && lpRasDevInfo->dwSize != RasDeviceInfoSize)
            return RasErrorInvalidSize;
        QList<DialDevice> devices;
        DWORD code = m_machine->devices(&devices);
        if (code == Success)
            code = tellSize(lpRasDevInfo, lpcb, lpcDevices, devices.size());
        if (code != Success || !lpRasDevInfo)
            return code;
        for (const DialDevice &device : std::as_const(devices)) {
            RasDeviceInfo &record = *lpRasDevInfo++;
            record = {};
            record.dwSize = RasDeviceInfoSize;
            setField(record.szDeviceType, device.type);
            setField(record.szDeviceName, device.name);
        }
        return Success;
    }

    DWORD RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                 BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize)
    {
        if (!lpszEntry || !lpdwEntryInfoSize)
            return ErrorInvalidParameter;
        DWORD code = checkBooks("RasGetEntryPropertiesW", lpszPhonebook, lpbDeviceInfo);
        if (code != Success)
            return code;
        if (lpdwDeviceInfoSize)
            *lpdwDeviceInfoSize = 0;
        RasEntry entry = {};
        code = m_machine->readEntry(fromWide(lpszEntry), &entry);
        if (code != Success)
            return code;
        const DWORD given = *lpdwEntryInfoSize;
        if (lpRasEntry && given >= RasEntrySize && !isKnownEntrySize(lpRasEntry->dwSize))
            return RasErrorInvalidSize;
        if (!lpRasEntry || given < RasEntrySize || given < lpRasEntry->dwSize) {
            *lpdwEntryInfoSize = OwnEntrySize;
            return RasErrorBufferTooSmall;
        }
        // The newer record's additional fields are all zero by default.
        const DWORD size = lpRasEntry->dwSize;
        std::memset(static_cast<void *>(lpRasEntry), 0, size);
        *lpRasEntry = entry;
        lpRasEntry->dwSize = size;
        return Success;
    }

    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD)
    {
        const DWORD code = checkBooks("RasSetEntryPropertiesW", lpszPhonebook, lpbDeviceInfo);
        if (code != Success)
            return code;
        if (!lpRasEntry)
            return RasErrorInvalidBuffer;
        if (lpRasEntry->dwSize == 0)
            return ErrorInvalidParameter;
        if (!isKnownEntrySize(lpRasEntry->dwSize))
            return RasErrorInvalidSize;
        if (dwEntryInfoSize < lpRasEntry->dwSize)
            return RasErrorInvalidBuffer;
        const QString name = lpszEntry ? fromWide(lpszEntry) : QString();
        if (!isEntryName(name))
            return ErrorInvalidName;
        return isComplete(*lpRasEntry) ? m_machine->writeEntry(name, *lpRasEntry)
                                       : ErrorInvalidParameter;
    }

private:
    /// Shows the dial dialog to its end; an empty number stands for the entry's
    /// own. Of an entry that cannot be read the dialog tells why.
    bool dial(const QString &entryName, QString number, DWORD *error)
    {
        bool asksFirst = false;
        RasEntry entry = {};
        if (m_machine->readEntry(entryName, &entry) == Success) {
            asksFirst =
                (entry.dwfOptions & (EntryPreviewUserPassword | EntryPreviewPhoneNumber)) != 0;
            if (number.isEmpty())
                number = fromField(entry.szLocalPhoneNumber);
        }
        const QList<ActiveConnection> before = m_machine->connections();
        bool wasGivenUp = false;
        {
            const std::unique_ptr<Dialler> dialler = m_machine->dialler(entryName, number);
            DialDialog dialog(m_machine->dialTitle(entryName), entryName, number, dialler.get());
            const bool connected = dialog.run(asksFirst);
            *error = dialog.lastError();
            if (connected)
                return true;
            wasGivenUp = dialog.wasGivenUp();
        }
        // It may have come up in the moment in which it was given up.
        if (wasGivenUp)
            hangUpSince(before, entryName);
        return false;
    }

    /// Ends the entry's connections that are none of the earlier ones.
    void hangUpSince(const QList<ActiveConnection> &before, const QString &entryName)
    {
        for (const ActiveConnection &connection : m_machine->connections()) {
            const bool isNew = std::none_of(before.begin(), before.end(),
                                            [&connection](const ActiveConnection &earlier) {
                                                return earlier.handle == connection.handle;
                                            });
            if (isNew && connection.entry == entryName)
                m_machine->hangUp(connection.handle);
        }
    }

    const std::shared_ptr<DialUpMachine> m_machine;
};

} // namespace

void provideRas(Platform *platform, const std::shared_ptr<DialUpMachine> &machine)
{
    const auto access = std::make_shared<RemoteAccess>(machine);
    platform->RasEnumConnectionsW.provide(access, &RemoteAccess::RasEnumConnectionsW);
    platform->RasHangUpW.provide(access, &RemoteAccess::RasHangUpW);
    platform->RasDialDlgW.provide(access, &RemoteAccess::RasDialDlgW);
    platform->RasEnumDevicesW.provide(access, &RemoteAccess::RasEnumDevicesW);
    platform->RasGetEntryPropertiesW.provide(access, &RemoteAccess::RasGetEntryPropertiesW);
    platform->RasSetEntryPropertiesW.provide(access, &RemoteAccess::RasSetEntryPropertiesW);
}

} // namespace platform
