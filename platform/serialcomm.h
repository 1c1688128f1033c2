#pragma once

#include "platform/types.h"

namespace platform {

inline constexpr DWORD GenericRead = 0x80000000;        ///< GENERIC_READ
inline constexpr DWORD GenericWrite = 0x40000000;       ///< GENERIC_WRITE
inline constexpr DWORD OpenExisting = 3;                ///< OPEN_EXISTING
inline constexpr DWORD FileFlagOverlapped = 0x40000000; ///< FILE_FLAG_OVERLAPPED
inline constexpr DWORD MaxDword = 0xFFFFFFFF;           ///< MAXDWORD
inline constexpr DWORD BaudRate9600 = 9600;             ///< CBR_9600
inline constexpr BYTE NoParity = 0;                     ///< NOPARITY
inline constexpr BYTE OneStopBit = 0;                   ///< ONESTOPBIT
inline constexpr DWORD EventReceivedCharacter = 0x0001; ///< EV_RXCHAR
inline constexpr DWORD EventTransmitEmpty = 0x0004;     ///< EV_TXEMPTY

/// DCB: the line settings of a port.
struct DeviceControlBlock {
    DWORD DCBlength;
    DWORD BaudRate;
    DWORD Flags; ///< the bit fields fBinary to fDummy2
    WORD wReserved;
    WORD XonLim;
    WORD XoffLim;
    BYTE ByteSize;
    BYTE Parity;
    BYTE StopBits;
    char XonChar;
    char XoffChar;
    char ErrorChar;
    char EofChar;
    char EvtChar;
    WORD wReserved1;
};
static_assert(sizeof(DeviceControlBlock) == 28, "DCB");

/// COMMTIMEOUTS, in milliseconds. An interval of MaxDword with both read
/// totals 0 makes a read return at once with what has been received.
struct CommTimeouts {
    DWORD ReadIntervalTimeout;
    DWORD ReadTotalTimeoutMultiplier;
    DWORD ReadTotalTimeoutConstant;
    DWORD WriteTotalTimeoutMultiplier;
    DWORD WriteTotalTimeoutConstant;
};
static_assert(sizeof(CommTimeouts) == 20, "COMMTIMEOUTS");

/// OVERLAPPED: one asynchronous operation; must outlive it.
struct Overlapped {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    DWORD Offset;
    DWORD OffsetHigh;
    HANDLE hEvent;
};
static_assert(sizeof(Overlapped) == 32, "OVERLAPPED on 64-bit Windows");

/// Serial communications (kernel32). A port handle is used by one thread at a
/// time. Operations that return BOOL give zero on failure, with GetLastError.
class SerialComm
{
public:
    virtual ~SerialComm() = default;

    /// Opens `\\.\COMn`; the caller owns the handle until CloseHandle.
    /// invalidHandle() on failure: 2 when the port is missing, 5 when it is
    /// open elsewhere (a port is never shared).
    virtual HANDLE CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                               void *lpSecurityAttributes, DWORD dwCreationDisposition,
                               DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) = 0;

    /// Reads the port's line settings into the record.
    virtual BOOL GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) = 0;

    /// Applies line settings; 87 for settings that the port cannot have.
    virtual BOOL SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) = 0;

    /// Sets the read and write time-outs.
    virtual BOOL SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts) = 0;

    /// Chooses the events that WaitCommEvent reports.
    virtual BOOL SetCommMask(HANDLE hFile, DWORD dwEvtMask) = 0;

    /// Arms a wait for the chosen events. Non-zero when one has happened
    /// already; zero with 997 while it is pending: the event of lpOverlapped
    /// is signalled when it happens and lpEvtMask written.
    virtual BOOL WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped) = 0;

    /// Reads at most nNumberOfBytesToRead bytes. With the time-outs above it
    /// completes at once, possibly with 0 bytes.
    virtual BOOL ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                          DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped) = 0;

    /// Writes. Non-zero when it completed at once, zero with 997 when it is
    /// pending: the buffer must then live until GetOverlappedResult answers.
    virtual BOOL WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                           DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped) = 0;

    /// The outcome of a pending operation; with bWait it blocks until there
    /// is one.
    virtual BOOL GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                     DWORD *lpNumberOfBytesTransferred, BOOL bWait) = 0;
};

} // namespace platform
