#pragma once

#include "platform/kernelobjects.h"
#include "platform/posix/event.h"
#include "platform/posix/handletable.h"
#include "platform/serialcomm.h"

#include <QString>

namespace platform {

/// COM ports over serial devices, and the events and handles that go with
/// them. Handles that are not open answer error 6. Any thread.
class OverlappedSerial : public SerialComm, public KernelObjects
{
public:
    HANDLE CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                        const WCHAR *lpName) override;
    DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds) override;
    BOOL CloseHandle(HANDLE hObject) override;

    /// Only `\\.\COMn` in any case, unshared, overlapped, for reading and
    /// writing; 87 or 50 for anything else.
    HANDLE CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                       void *lpSecurityAttributes, DWORD dwCreationDisposition,
                       DWORD dwFlagsAndAttributes, HANDLE hTemplateFile) override;
    BOOL GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) override;
    BOOL SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB) override;
    /// Only time-outs that let a read return at once and a write never end;
    /// 50 for others.
    BOOL SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts) override;
    /// Only EventReceivedCharacter and EventTransmitEmpty; 50 for others.
    BOOL SetCommMask(HANDLE hFile, DWORD dwEvtMask) override;
    /// On a line that is gone the record's event fails every wait with 1167
    /// until it is armed again.
    BOOL WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped) override;
    BOOL ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                  DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped) override;
    BOOL WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                   DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped) override;
    BOOL GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                             DWORD *lpNumberOfBytesTransferred, BOOL bWait) override;

    /// Makes an object of the backend's own, such as a process, known to
    /// WaitForSingleObject (when it is an Event) and CloseHandle.
    HANDLE addObject(std::shared_ptr<KernelObject> object);

protected:
    /// The device node behind COMn: Success and its path in *node, else the
    /// code that opening the port fails with (2 missing, 5 in use).
    virtual DWORD deviceNodeForPort(int number, QString *node) = 0;

private:
    /// The event of a record; false when its handle is no open event.
    bool eventOf(const Overlapped *overlapped, std::shared_ptr<Event> *event) const;

    HandleTable<KernelObject> m_handles;
};

} // namespace platform
