#pragma once

#include "platform/operation.h"
#include "platform/types.h"

#include <cstddef>

namespace platform {

/// HRASCONN.
using RasConnectionHandle = HANDLE;

// The remote access records are packed to four bytes on every Windows; the
// text fields count UTF-16 units, their terminator included.
#pragma pack(push, 4)

/// RASCONNW as far as guidEntry, which is the record of Windows 2000. Newer
/// releases append fields. dwSize tells the system which record is meant.
struct RasConnection {
    DWORD dwSize;
    RasConnectionHandle hrasconn;
    WCHAR szEntryName[257];
    WCHAR szDeviceType[17];
    WCHAR szDeviceName[129];
    WCHAR szPhonebook[260];
    DWORD dwSubEntry;
    Guid guidEntry;
};

/// RASDEVINFOW.
struct RasDeviceInfo {
    DWORD dwSize;
    WCHAR szDeviceType[17];
    WCHAR szDeviceName[129];
};

/// RASENTRYW up to dwVpnStrategy: the size that every release since
/// Windows 2000 accepts.
struct RasEntry {
    DWORD dwSize;
    DWORD dwfOptions;
    DWORD dwCountryID;
    DWORD dwCountryCode;
    WCHAR szAreaCode[11];
    WCHAR szLocalPhoneNumber[129];
    DWORD dwAlternateOffset;
    DWORD ipaddr;
    DWORD ipaddrDns;
    DWORD ipaddrDnsAlt;
    DWORD ipaddrWins;
    DWORD ipaddrWinsAlt;
    DWORD dwFrameSize;
    DWORD dwfNetProtocols;
    DWORD dwFramingProtocol;
    WCHAR szScript[260];
    WCHAR szAutodialDll[260];
    WCHAR szAutodialFunc[260];
    WCHAR szDeviceType[17];
    WCHAR szDeviceName[129];
    WCHAR szX25PadType[33];
    WCHAR szX25Address[201];
    WCHAR szX25Facilities[201];
    WCHAR szX25UserData[201];
    DWORD dwChannels;
    DWORD dwReserved1;
    DWORD dwReserved2;
    DWORD dwSubEntries;
    DWORD dwDialMode;
    DWORD dwDialExtraPercent;
    DWORD dwDialExtraSampleSeconds;
    DWORD dwHangUpExtraPercent;
    DWORD dwHangUpExtraSampleSeconds;
    DWORD dwIdleDisconnectSeconds;
    DWORD dwType;
    DWORD dwEncryptionType;
    DWORD dwCustomAuthKey;
    Guid guidId;
    WCHAR szCustomDialDll[260];
    DWORD dwVpnStrategy;
};

/// RASDIALDLG.
struct RasDialDialog {
    DWORD dwSize;
    HWND hwndOwner;
    DWORD dwFlags;
    LONG xDlg;
    LONG yDlg;
    DWORD dwSubEntry;
    DWORD dwError;
    ULONG_PTR reserved;
    ULONG_PTR reserved2;
};

#pragma pack(pop)

static_assert(sizeof(RasConnection) == 1360, "stride of the connection list");
static_assert(offsetof(RasConnection, hrasconn) == 4, "RASCONNW.hrasconn");
static_assert(offsetof(RasConnection, szEntryName) == 12, "RASCONNW.szEntryName");
static_assert(offsetof(RasConnection, dwSubEntry) == 1340, "RASCONNW.dwSubEntry");
static_assert(sizeof(RasDeviceInfo) == 296, "RASDEVINFOW");
static_assert(offsetof(RasDeviceInfo, szDeviceName) == 38, "RASDEVINFOW.szDeviceName");
static_assert(sizeof(RasEntry) == 4048, "RASENTRYW up to dwVpnStrategy");
static_assert(offsetof(RasEntry, dwfOptions) == 4, "RASENTRYW.dwfOptions");
static_assert(offsetof(RasEntry, szLocalPhoneNumber) == 38, "RASENTRYW.szLocalPhoneNumber");
static_assert(offsetof(RasEntry, szDeviceType) == 1892, "RASENTRYW.szDeviceType");
static_assert(offsetof(RasEntry, szDeviceName) == 1926, "RASENTRYW.szDeviceName");
static_assert(sizeof(RasDialDialog) == 48, "RASDIALDLG on 64-bit Windows");

/// dwSize of a RasConnection, as the program declares it: the offset of
/// dwSubEntry. On 64 bits it is the size of no release's record; those are 528,
/// 820, 1344, 1360, 1372 and 1388 bytes. Kept on purpose.
inline constexpr DWORD RasConnectionSize = 1340;
inline constexpr DWORD RasDeviceInfoSize = 296; ///< dwSize of a RasDeviceInfo
inline constexpr DWORD RasEntrySize = 4048;     ///< dwSize of a RasEntry
inline constexpr DWORD RasDialDialogSize = 48;  ///< dwSize of a RasDialDialog

inline constexpr DWORD EntryPreviewUserPassword = 0x01000000; ///< RASEO_PreviewUserPw
inline constexpr DWORD EntryPreviewPhoneNumber = 0x00200000;  ///< RASEO_PreviewPhoneNumber

inline constexpr DWORD RasErrorBufferTooSmall = 603;      ///< ERROR_BUFFER_TOO_SMALL
inline constexpr DWORD RasErrorInvalidBuffer = 610;       ///< ERROR_BUFFER_INVALID
inline constexpr DWORD RasErrorCannotOpenPhonebook = 621; ///< ERROR_CANNOT_OPEN_PHONEBOOK
inline constexpr DWORD RasErrorEntryNotFound = 623;       ///< ERROR_CANNOT_FIND_PHONEBOOK_ENTRY
inline constexpr DWORD RasErrorCorruptPhonebook = 625;    ///< ERROR_CORRUPT_PHONEBOOK
inline constexpr DWORD RasErrorPortDisconnected = 629;    ///< ERROR_REMOTE_DISCONNECTION
inline constexpr DWORD RasErrorUserDisconnected = 631;    ///< ERROR_USER_DISCONNECTION
inline constexpr DWORD RasErrorInvalidSize = 632;         ///< ERROR_INVALID_SIZE
inline constexpr DWORD RasErrorPortNotAvailable = 633;    ///< ERROR_PORT_NOT_AVAILABLE
inline constexpr DWORD RasErrorUnknown = 635;             ///< ERROR_UNKNOWN
inline constexpr DWORD RasErrorRequestTimeout = 638;      ///< ERROR_REQUEST_TIMEOUT
inline constexpr DWORD RasErrorFromDevice = 651;          ///< ERROR_FROM_DEVICE
inline constexpr DWORD RasErrorDeviceNotReady = 666;      ///< ERROR_DEVICE_NOT_READY
inline constexpr DWORD RasErrorLineBusy = 676;            ///< ERROR_LINE_BUSY
inline constexpr DWORD RasErrorNoAnswer = 678;            ///< ERROR_NO_ANSWER
inline constexpr DWORD RasErrorNoCarrier = 679;           ///< ERROR_NO_CARRIER
inline constexpr DWORD RasErrorNoDialTone = 680;          ///< ERROR_NO_DIALTONE
inline constexpr DWORD RasErrorAuthentication = 691;      ///< ERROR_AUTHENTICATION_FAILURE
inline constexpr DWORD RasErrorPortOrDevice = 692;        ///< ERROR_PORT_OR_DEVICE
inline constexpr DWORD RasErrorPppTimeout = 718;          ///< ERROR_PPP_TIMEOUT
inline constexpr DWORD RasErrorNoProtocols = 720;         ///< ERROR_PPP_NO_PROTOCOLS_CONFIGURED
inline constexpr DWORD RasErrorInvalidHandle = 6; ///< ERROR_INVALID_HANDLE, of a dead HRASCONN

/// Remote Access Service (rasapi32, rasdlg). A null phone book is the user's
/// default one; a phone book that cannot be opened answers 621. Results are
/// error codes, 0 for success, not GetLastError.
struct Ras : Family {
    /// The active connections. *lpcb holds the buffer's size in bytes and
    /// receives the size needed; 603 when the buffer is too small for the list or
    /// for the record that it declares, 632 for a first record with an unknown
    /// dwSize. RasConnectionSize is always taken; the records then lie
    /// sizeof(RasConnection) apart.
    Operation<DWORD(RasConnection *lprasconn, DWORD *lpcb, DWORD *lpcConnections)>
        RasEnumConnectionsW{this, "RasEnumConnectionsW", FailureCode::Result};

    /// Ends a connection; may return before it is down. 6 for a handle that
    /// is not (any longer) a connection.
    Operation<DWORD(RasConnectionHandle hrasconn)> RasHangUpW{this, "RasHangUpW",
                                                              FailureCode::Result};

    /// Shows the system's dial dialog and returns when it is gone: GUI thread
    /// only. Without an owner it disables no window, and the program's events
    /// are processed meanwhile. It dials at once, or asks first if the entry has
    /// a preview option. lpszPhoneNumber overrides the entry's number. Non-zero
    /// when a connection was made; when zero, the record's dwError tells why, 0
    /// when the user cancelled.
    Operation<BOOL(WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                   RasDialDialog *lpInfo)>
        RasDialDlgW{this, "RasDialDlgW"};

    /// The RAS-capable devices; sizes as for the connections. Any thread.
    Operation<DWORD(RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices)> RasEnumDevicesW{
        this, "RasEnumDevicesW", FailureCode::Result};

    /// An entry's properties; the empty name asks for the defaults of a new
    /// entry. With no record it answers 603 and the size needed, which may
    /// exceed RasEntrySize. Any thread.
    Operation<DWORD(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                    DWORD *lpdwEntryInfoSize, BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize)>
        RasGetEntryPropertiesW{this, "RasGetEntryPropertiesW", FailureCode::Result};

    /// Creates or changes an entry: 5 without the rights, 123 for a name that no
    /// entry can have, 610 without a record, 621 for another or a damaged phone
    /// book, 632 for a record whose dwSize is not known. 87 unless all of these
    /// are given: dwSize, dwfOptions, szLocalPhoneNumber, dwFramingProtocol,
    /// szDeviceType, szDeviceName, dwType. Any thread.
    Operation<DWORD(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                    DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo, DWORD dwDeviceInfoSize)>
        RasSetEntryPropertiesW{this, "RasSetEntryPropertiesW", FailureCode::Result};
};

} // namespace platform
