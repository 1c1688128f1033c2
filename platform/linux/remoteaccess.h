#pragma once

#include "platform/linux/phonebook.h"
#include "platform/linux/statestore.h"
#include "platform/linux/systempaths.h"
#include "platform/ras.h"

namespace platform {

/// Remote access over pppd. Connections are what pppd itself shows, so that
/// one made or ended outside this program is seen; a handle stands for the
/// link's process. The default phone book is the only one.
class RemoteAccess : public Ras
{
public:
    /// The store stays the caller's and must outlive this object.
    RemoteAccess(const SystemPaths &paths, StateStore *store);

    DWORD RasEnumConnectionsW(RasConnection *lprasconn, DWORD *lpcb,
                              DWORD *lpcConnections) override;
    /// Returns when the link is down, after eight seconds at most; 5 for a link
    /// that another user made.
    DWORD RasHangUpW(RasConnectionHandle hrasconn) override;
    BOOL RasDialDlgW(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                     RasDialDialog *lpInfo) override;
    DWORD RasEnumDevicesW(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices) override;
    DWORD RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                 BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize) override;
    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD dwDeviceInfoSize) override;

private:
    DWORD deviceNames(QStringList *names) const;
    RasEntry defaultEntry() const;
    /// The line that an entry's modem is attached to, as it is now.
    DWORD findDevice(const QString &entryName, QString *node) const;

    const SystemPaths m_paths;
    StateStore *m_store;
    const PhoneBook m_phoneBook;
};

} // namespace platform
