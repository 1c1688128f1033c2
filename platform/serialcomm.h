#pragma once

#include "platform/operation.h"
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
struct SerialComm : Family {
    /// Opens `\\.\COMn`; the caller owns the handle until CloseHandle.
    /// invalidHandle() on failure: 2 when the port is missing, 5 when it is
    /// open elsewhere (a port is never shared).
    Operation<HANDLE(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                     void *lpSecurityAttributes, DWORD dwCreationDisposition,
                     DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)>
        CreateFileW{this, "CreateFileW", invalidHandle()};

    /// Reads the port's line settings into the record.
    Operation<BOOL(HANDLE hFile, DeviceControlBlock *lpDCB)> GetCommState{this, "GetCommState"};

    /// Applies line settings; 87 for settings that the port cannot have.
    Operation<BOOL(HANDLE hFile, DeviceControlBlock *lpDCB)> SetCommState{this, "SetCommState"};

    /// Sets the read and write time-outs.
    Operation<BOOL(HANDLE hFile, CommTimeouts *lpCommTimeouts)> SetCommTimeouts{this,
                                                                                "SetCommTimeouts"};

    /// Chooses the events that WaitCommEvent reports.
    Operation<BOOL(HANDLE hFile, DWORD dwEvtMask)> SetCommMask{this, "SetCommMask"};

    /// Arms a wait for the chosen events. Non-zero when one has happened
    /// already; zero with 997 while it is pending: the event of lpOverlapped
    /// is signalled when it happens and lpEvtMask written.
    Operation<BOOL(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)> WaitCommEvent{
        this, "WaitCommEvent"};

    /// Reads at most nNumberOfBytesToRead bytes. With the time-outs above it is
    /// done at once, possibly with 0 bytes. A driver may let it pend even so: zero
    /// with 997. Count and buffer then count from GetOverlappedResult on, and
    /// until then the buffer and the record must live and not be used.
    Operation<BOOL(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                   DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)>
        ReadFile{this, "ReadFile"};

    /// Writes. Non-zero when it completed at once, zero with 997 when it is
    /// pending: buffer and record must then live until GetOverlappedResult
    /// answers, or until the port is closed.
    Operation<BOOL(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                   DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)>
        WriteFile{this, "WriteFile"};

    /// The outcome of a pending operation and its number of bytes; with bWait it
    /// blocks until there is one.
    Operation<BOOL(HANDLE hFile, Overlapped *lpOverlapped, DWORD *lpNumberOfBytesTransferred,
                   BOOL bWait)>
        GetOverlappedResult{this, "GetOverlappedResult"};
};

} // namespace platform
