#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/support/scriptedmachine.h"

#include <algorithm>
#include <cstring>

using namespace platform;

void ScriptedMachine::provideRemoteAccess()
{
    RasEnumConnectionsW = [this](RasConnection *lprasconn, DWORD *lpcb,
                                 DWORD *lpcConnections) -> DWORD {
        enumeratedSize = lprasconn[0].dwSize;
        enumeratedBytes = *lpcb;
        enumeratedCount = *lpcConnections;
        const auto *bytes = reinterpret_cast<const char *>(lprasconn);
        enumerationBufferWasZero =
            std::all_of(bytes + sizeof(DWORD), bytes + *lpcb, [](char byte) { return byte == 0; });
        if (lprasconn[0].dwSize != RasConnectionSize)
            return RasErrorInvalidSize;
        const DWORD needed = static_cast<DWORD>(connections.size()) * DWORD{sizeof(RasConnection)};
        const DWORD given = *lpcb;
        *lpcb = needed;
        *lpcConnections = static_cast<DWORD>(connections.size());
        if (given < needed)
            return RasErrorBufferTooSmall;
        for (int i = 0; i < connections.size(); ++i) {
            lprasconn[i].dwSize = RasConnectionSize;
            lprasconn[i].hrasconn = connections.at(i).handle;
            setField(lprasconn[i].szEntryName, connections.at(i).entryName);
        }
        return Success;
    };

    RasHangUpW = [this](RasConnectionHandle hrasconn) -> DWORD {
        hungUp.append(hrasconn);
        const auto found =
            std::find_if(connections.begin(), connections.end(), [=](const Connection &connection) {
                return connection.handle == hrasconn;
            });
        if (found == connections.end())
            return RasErrorInvalidHandle;
        connections.erase(found);
        // A test's own connection has no handle of this machine.
        const std::lock_guard lock(m_mutex);
        if (m_open.value(hrasconn, Kind::Key) == Kind::Connection)
            m_open.remove(hrasconn);
        return Success;
    };

    RasDialDlgW = [this](WCHAR *lpszPhonebook, WCHAR *lpszEntry, WCHAR *lpszPhoneNumber,
                         RasDialDialog *lpInfo) -> BOOL {
        dials.append(
            {fromWide(lpszEntry), fromWide(lpszPhoneNumber), lpszPhonebook == nullptr, *lpInfo});
        if (whileDialling)
            whileDialling();
        if (!dialSucceeds) {
            lpInfo->dwError = RasErrorNoAnswer;
            return 0;
        }
        connections.append({fromWide(lpszEntry), open(Kind::Connection)});
        return 1;
    };

    RasEnumDevicesW = [this](RasDeviceInfo *lpRasDevInfo, DWORD *lpcb, DWORD *lpcDevices) -> DWORD {
        const DWORD needed = static_cast<DWORD>(rasDevices.size()) * RasDeviceInfoSize;
        const DWORD given = lpRasDevInfo ? *lpcb : 0;
        *lpcb = needed;
        *lpcDevices = static_cast<DWORD>(rasDevices.size());
        if (given < needed)
            return RasErrorBufferTooSmall;
        if (needed == 0)
            return Success;
        if (lpRasDevInfo[0].dwSize != RasDeviceInfoSize)
            return RasErrorInvalidSize;
        for (int i = 0; i < rasDevices.size(); ++i) {
            lpRasDevInfo[i].dwSize = RasDeviceInfoSize;
            setField(lpRasDevInfo[i].szDeviceType, rasDevices.at(i).type);
            setField(lpRasDevInfo[i].szDeviceName, rasDevices.at(i).name);
        }
        return Success;
    };

    RasGetEntryPropertiesW = [this](const WCHAR *, const WCHAR *lpszEntry, RasEntry *lpRasEntry,
                                    DWORD *lpdwEntryInfoSize, BYTE *, DWORD *) -> DWORD {
        if (!lpszEntry || lpszEntry[0] != 0)
            return RasErrorEntryNotFound;
        if (!lpRasEntry || *lpdwEntryInfoSize < entryInfoSize) {
            *lpdwEntryInfoSize = entryInfoSize;
            return RasErrorBufferTooSmall;
        }
        if (lpRasEntry->dwSize != RasEntrySize)
            return RasErrorInvalidSize;
        lpRasEntry->dwfOptions = defaultEntryOptions;
        // The fields that the program sets are not empty before.
        setField(lpRasEntry->szDeviceType, "default device type");
        setField(lpRasEntry->szDeviceName, "default device name that is a long one");
        setField(lpRasEntry->szLocalPhoneNumber, "0123456789");
        lpRasEntry->dwIdleDisconnectSeconds = 4711;
        return Success;
    };

    RasSetEntryPropertiesW = [this](const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                    RasEntry *lpRasEntry, DWORD dwEntryInfoSize,
                                    BYTE *lpbDeviceInfo, DWORD dwDeviceInfoSize) -> DWORD {
        storedEntries.append({fromWide(lpszEntry), *lpRasEntry, dwEntryInfoSize,
                              lpszPhonebook == nullptr, !lpbDeviceInfo && dwDeviceInfoSize == 0});
        return Success;
    };
}

void ScriptedMachine::provideSerialPort()
{
    CreateFileW = [this](const WCHAR *lpFileName, DWORD, DWORD, void *, DWORD, DWORD,
                         HANDLE) -> HANDLE {
        openedPath = fromWide(lpFileName);
        return open(Kind::Port);
    };

    GetCommState = [this](HANDLE hFile, DeviceControlBlock *lpDCB) -> BOOL {
        if (!isOpen(hFile, Kind::Port))
            return 0;
        stateQuery = *lpDCB;
        *lpDCB = lineSettings;
        return 1;
    };

    SetCommState = [this](HANDLE hFile, DeviceControlBlock *lpDCB) -> BOOL {
        if (!isOpen(hFile, Kind::Port))
            return 0;
        lineSettings = *lpDCB;
        return 1;
    };

    SetCommTimeouts = [this](HANDLE hFile, CommTimeouts *lpCommTimeouts) -> BOOL {
        if (!isOpen(hFile, Kind::Port))
            return 0;
        timeouts = *lpCommTimeouts;
        return 1;
    };

    SetCommMask = [this](HANDLE hFile, DWORD dwEvtMask) -> BOOL {
        if (!isOpen(hFile, Kind::Port))
            return 0;
        eventMask = dwEvtMask;
        return 1;
    };

    WaitCommEvent = [this](HANDLE hFile, DWORD *, Overlapped *lpOverlapped) -> BOOL {
        if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event))
            return 0;
        return fail(ErrorIoPending);
    };

    ReadFile = [this](HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                      DWORD *lpNumberOfBytesRead, Overlapped *) -> BOOL {
        *lpNumberOfBytesRead = 0;
        if (!isOpen(hFile, Kind::Port))
            return 0;
        if (chunks.isEmpty())
            return 1;
        const QByteArray chunk = chunks.takeFirst();
        if (static_cast<DWORD>(chunk.size()) > nNumberOfBytesToRead)
            qFatal("a scripted chunk is larger than the reader's buffer");
        std::memcpy(lpBuffer, chunk.constData(), static_cast<std::size_t>(chunk.size()));
        *lpNumberOfBytesRead = static_cast<DWORD>(chunk.size());
        return 1;
    };

    WriteFile = [this](HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                       DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped) -> BOOL {
        if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event))
            return 0;
        written.append(static_cast<const char *>(lpBuffer),
                       static_cast<int>(nNumberOfBytesToWrite));
        if (writesArePending) {
            m_pendingWrite = nNumberOfBytesToWrite;
            return fail(ErrorIoPending);
        }
        *lpNumberOfBytesWritten = nNumberOfBytesToWrite;
        return 1;
    };

    GetOverlappedResult = [this](HANDLE hFile, Overlapped *lpOverlapped,
                                 DWORD *lpNumberOfBytesTransferred, BOOL bWait) -> BOOL {
        if (!isOpen(hFile, Kind::Port) || !isOpen(lpOverlapped->hEvent, Kind::Event) || !bWait)
            return 0;
        *lpNumberOfBytesTransferred = m_pendingWrite;
        return 1;
    };
}
