#include "platform/platform.h"
#include "platform/simulated/dialdialog.h"
#include "platform/simulated/entryrecord.h"
#include "platform/simulated/families.h"
#include "platform/simulated/hangup.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QApplication>
#include <QThread>

#include <cstring>

namespace platform::simulated {

namespace {

constexpr DWORD ErrorInvalidName = 123; // ERROR_INVALID_NAME
constexpr int LongestEntryName = 256;   // RAS_MaxEntryName

/// The entry record of newer releases, whose size this one reports, too:
/// fields were appended, and the older record is still taken.
constexpr DWORD NewerEntrySize = 5616;

/// Dial-up knows a modem only once its driver has been installed on it.
bool isModem(const RootDevice &device)
{
    return device.className.compare("Modem", Qt::CaseInsensitive) == 0 &&
           !device.driverInf.isEmpty() && !device.friendlyName.isEmpty();
}

/// Zero-filled first: the unused part of a field is not left to chance.
RasDeviceInfo deviceInfo(const QString &type, const QString &name)
{
    RasDeviceInfo info = {};
    info.dwSize = sizeof info;
    setField(info.szDeviceType, type);
    setField(info.szDeviceName, name);
    return info;
}

bool isKnownEntrySize(DWORD size)
{
    return size == RasEntrySize || size == NewerEntrySize;
}

DWORD unsupported(const char *operation, const char *what)
{
    failUnsupported(operation, what);
    return ErrorNotSupported;
}

class RemoteAccess
{
public:
    explicit RemoteAccess(const QString &directory) : m_directory(directory) {}

    DWORD RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb, DWORD *lpcConnections)
    {
        if (!lpcb || !lpcConnections)
            return ErrorInvalidParameter;
        // The first record's size is the caller's version of the interface; it is
        // looked at before anything is counted.
        if (lprasconn && lprasconn->dwSize != RasConnectionSize &&
            lprasconn->dwSize != sizeof(RasConnection))
            return RasErrorInvalidSize;
        MachineSession session(m_directory);
        dropDeadConnections(&session);
        const QList<Connection> &connections = session.state.connections;
        const auto required = static_cast<DWORD>(connections.size() * int(sizeof(RasConnection)));
        // Sizes and counts are answered in every case. With no connection there is
        // nothing that could be too small.
        const bool fits = lprasconn && *lpcb >= required;
        *lpcb = required;
        *lpcConnections = static_cast<DWORD>(connections.size());
        if (!fits)
            return required > 0 ? RasErrorBufferTooSmall : Success;

        const DWORD size = lprasconn->dwSize;
        RasConnection *next = lprasconn;
        for (const Connection &connection : connections) {
            RasConnection record = {};
            record.dwSize = size;
            record.hrasconn = reinterpret_cast<RasConnectionHandle>(ULONG_PTR(connection.handle));
            setField(record.szEntryName, connection.entry);
            setField(record.szDeviceType, "modem");
            setField(record.szDeviceName, connection.device);
            // Only what the declared size covers belongs to the caller's record.
            std::memcpy(static_cast<void *>(next++), &record, size);
        }
        return Success;
    }

    DWORD RasHangUpW(RasConnectionHandle hrasconn)
    {
        const auto handle = reinterpret_cast<ULONG_PTR>(hrasconn);
        // Handles are the connections' running numbers; nothing is ever followed.
        if (handle == 0 || handle > 0x7FFFFFFF)
            return RasErrorInvalidHandle;
        return hangUp(m_directory, static_cast<int>(handle));
    }

    BOOL RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                     RasDialDialog *lpInfo)
    {
        if (!lpInfo)
            return 0;
        lpInfo->dwError = Success;
        const auto refuse = [lpInfo](DWORD code) {
            lpInfo->dwError = code;
            return 0;
        };
        if (lpInfo->dwSize != RasDialDialogSize)
            return refuse(RasErrorInvalidSize);
        if (!lpszEntry)
            return refuse(ErrorInvalidParameter);
        if (lpszPhonebook) {
            failUnsupported("RasDialDlgW", "other phone books");
            return refuse(RasErrorCannotOpenPhonebook);
        }
        if (lpInfo->dwFlags != 0 || lpInfo->dwSubEntry != 0 || lpInfo->hwndOwner)
            return refuse(unsupported("RasDialDlgW", "owners, positions, sub-entries"));
        if (!qobject_cast<QApplication *>(QCoreApplication::instance()) ||
            QThread::currentThread() != QCoreApplication::instance()->thread())
            return refuse(unsupported("RasDialDlgW", "threads other than the GUI thread"));

        const QString entry = fromWide(lpszEntry);
        QString number = lpszPhoneNumber ? fromWide(lpszPhoneNumber) : QString();
        {
            // What can be refused without asking the user is refused without a dialog.
            // The session must end before the dialog begins: the dial needs its own.
            const MachineSession session(m_directory);
            if (session.state.phonebookDamaged)
                return refuse(RasErrorCannotOpenPhonebook);
            if (!session.state.phonebook.contains(entry))
                return refuse(RasErrorEntryNotFound);
            if (number.isEmpty())
                number =
                    session.state.phonebook.value(entry).value("szLocalPhoneNumber").toString();
        }
        DialDialog dialog(m_directory, entry, number);
        if (dialog.exec() == QDialog::Accepted)
            return 1;
        return refuse(dialog.lastError());
    }

    DWORD RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)
    {
        if (!lpcb || !lpcDevices)
            return ErrorInvalidParameter;
        if (lpRasDevInfo && lpRasDevInfo->dwSize != RasDeviceInfoSize)
            return RasErrorInvalidSize;
        const MachineSession session(m_directory);
        QList<RasDeviceInfo> devices = {deviceInfo("vpn", "WAN Miniport (L2TP)")};
        for (const RootDevice &device : session.state.devices) {
            if (isModem(device))
                devices += deviceInfo("modem", device.friendlyName);
        }
        const auto required = static_cast<DWORD>(devices.size() * int(sizeof(RasDeviceInfo)));
        const bool fits = lpRasDevInfo && *lpcb >= required;
        *lpcb = required;
        *lpcDevices = static_cast<DWORD>(devices.size());
        if (!fits)
            return RasErrorBufferTooSmall;
        for (const RasDeviceInfo &device : devices)
            *lpRasDevInfo++ = device;
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
        if (lpbDeviceInfo)
            return unsupported("RasGetEntryPropertiesW", "device information");
        if (lpdwDeviceInfoSize)
            *lpdwDeviceInfoSize = 0;
        const MachineSession session(m_directory);
        if (session.state.phonebookDamaged)
            return RasErrorCannotOpenPhonebook;
        const QString name = fromWide(lpszEntry);
        // The empty name stands for an entry still to be made.
        if (!name.isEmpty() && !session.state.phonebook.contains(name))
            return RasErrorEntryNotFound;
        if (!lpRasEntry || *lpdwEntryInfoSize < RasEntrySize) {
            *lpdwEntryInfoSize = NewerEntrySize;
            return RasErrorBufferTooSmall;
        }
        const DWORD size = lpRasEntry->dwSize;
        if (!isKnownEntrySize(size))
            return RasErrorInvalidSize;
        if (*lpdwEntryInfoSize < size) {
            *lpdwEntryInfoSize = NewerEntrySize;
            return RasErrorBufferTooSmall;
        }

        // The newer record's additional fields are all zero by default.
        std::memset(static_cast<void *>(lpRasEntry), 0, size);
        *lpRasEntry =
            name.isEmpty() ? defaultEntry() : entryFromJson(session.state.phonebook.value(name));
        lpRasEntry->dwSize = size;
        return Success;
    }

    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD dwDeviceInfoSize)
    {
        if (lpszPhonebook) {
            failUnsupported("RasSetEntryPropertiesW", "other phone books");
            return RasErrorCannotOpenPhonebook;
        }
        if (lpbDeviceInfo || dwDeviceInfoSize != 0)
            return unsupported("RasSetEntryPropertiesW", "device information");
        if (!lpRasEntry)
            return RasErrorInvalidBuffer;
        if (lpRasEntry->dwSize == 0)
            return ErrorInvalidParameter;
        if (!isKnownEntrySize(lpRasEntry->dwSize))
            return RasErrorInvalidSize;
        if (dwEntryInfoSize < lpRasEntry->dwSize)
            return RasErrorInvalidBuffer;
        const QString name = lpszEntry ? fromWide(lpszEntry) : QString();
        if (name.trimmed().isEmpty() || name.size() > LongestEntryName || name.startsWith('.'))
            return ErrorInvalidName;
        MachineSession session(m_directory);
        if (!session.state.administrator)
            return ErrorAccessDenied;
        if (session.state.phonebookDamaged)
            return RasErrorCannotOpenPhonebook;
        // The least that can be dialled. The device itself may come later: it is
        // looked for when the entry is used.
        if (fromField(lpRasEntry->szLocalPhoneNumber).isEmpty() ||
            fromField(lpRasEntry->szDeviceName).isEmpty())
            return ErrorInvalidParameter;
        session.state.phonebook[name] = entryToJson(*lpRasEntry);
        return session.save() ? Success : ErrorGenFailure;
    }

private:
    const QString m_directory;
};

} // namespace

void provideRas(Platform *platform, const QString &directory)
{
    const auto access = std::make_shared<RemoteAccess>(directory);
    platform->RasEnumConnectionsW.provide(access, &RemoteAccess::RasEnumConnectionsW);
    platform->RasHangUpW.provide(access, &RemoteAccess::RasHangUpW);
    platform->RasDialDlgW.provide(access, &RemoteAccess::RasDialDlgW);
    platform->RasEnumDevicesW.provide(access, &RemoteAccess::RasEnumDevicesW);
    platform->RasGetEntryPropertiesW.provide(access, &RemoteAccess::RasGetEntryPropertiesW);
    platform->RasSetEntryPropertiesW.provide(access, &RemoteAccess::RasSetEntryPropertiesW);
}

} // namespace platform::simulated
