#include "platform/posix/serialcomm.h"

#include "platform/platform.h"
#include "platform/posix/serialdevice.h"
#include "platform/posix/serialport.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

#include <QFile>

namespace platform {

namespace {

/// The n of `\\.\COMn`; 0 when the path is not a port's. Windows knows no
/// leading zeros there.
int portNumber(const QString &path)
{
    const QString prefix = "\\\\.\\COM";
    if (!path.startsWith(prefix, Qt::CaseInsensitive))
        return 0;
    const QString digits = path.mid(prefix.size());
    bool isNumber = false;
    const int number = digits.toInt(&isNumber);
    return isNumber && QString::number(number) == digits && number > 0 ? number : 0;
}

HANDLE failedOpen(DWORD code)
{
    setLastError(code);
    return invalidHandle();
}

class Ports
{
public:
    Ports(std::shared_ptr<Handles> handles, DeviceNodeForPort deviceNodeForPort)
        : m_handles(std::move(handles)), m_deviceNodeForPort(std::move(deviceNodeForPort))
    {
    }

    /// Only `\\.\COMn` in any case, unshared, overlapped, for reading and
    /// writing; 87 or 50 for anything else.
    HANDLE CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                       void *lpSecurityAttributes, DWORD dwCreationDisposition,
                       DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
    {
        // A port is never shared and never created: these can only be mistakes.
        if (!lpFileName || dwShareMode != 0 || dwCreationDisposition != OpenExisting ||
            hTemplateFile)
            return failedOpen(ErrorInvalidParameter);
        // On Windows the bare names end at COM9. The device path works for
        // every port.
        const QString path = fromWide(lpFileName);
        if (!path.startsWith("\\\\.\\")) {
            failUnsupported("CreateFileW", "files");
            return invalidHandle();
        }
        const int number = portNumber(path);
        if (number == 0)
            return failedOpen(ErrorFileNotFound);
        if (lpSecurityAttributes || dwDesiredAccess != (GenericRead | GenericWrite) ||
            dwFlagsAndAttributes != FileFlagOverlapped) {
            failUnsupported("CreateFileW", "ports opened otherwise than overlapped, for both ways");
            return invalidHandle();
        }

        QString node;
        DWORD code = m_deviceNodeForPort(number, &node);
        if (code != Success)
            return failedOpen(code);
        const int descriptor = openSerialDevice(QFile::encodeName(node).constData(), &code);
        if (descriptor < 0)
            return failedOpen(code);
        return m_handles->add(std::make_shared<SerialPort>(descriptor));
    }

    BOOL GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        if (!port)
            return fail(ErrorInvalidHandle);
        return lpDCB ? port->getState(lpDCB) : fail(ErrorInvalidParameter);
    }

    BOOL SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        if (!port)
            return fail(ErrorInvalidHandle);
        return lpDCB ? port->setState(*lpDCB) : fail(ErrorInvalidParameter);
    }

    /// Only time-outs that let a read return at once and a write never end;
    /// 50 for others.
    BOOL SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        if (!port)
            return fail(ErrorInvalidHandle);
        return lpCommTimeouts ? port->setTimeouts(*lpCommTimeouts) : fail(ErrorInvalidParameter);
    }

    /// Only EventReceivedCharacter and EventTransmitEmpty; 50 for others.
    BOOL SetCommMask(HANDLE hFile, DWORD dwEvtMask)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        return port ? port->setMask(dwEvtMask) : fail(ErrorInvalidHandle);
    }

    /// If the line is gone, every wait for the record's event fails with 1167
    /// until the event is armed again.
    BOOL WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        std::shared_ptr<Event> event;
        if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
            return fail(ErrorInvalidHandle);
        if (!lpEvtMask || !lpOverlapped)
            return fail(ErrorInvalidParameter);
        return port->waitEvent(lpEvtMask, lpOverlapped, event);
    }

    BOOL ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                  DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
    {
        // Some callers look at the count only and ignore the result.
        if (lpNumberOfBytesRead)
            *lpNumberOfBytesRead = 0;
        const auto port = m_handles->find<SerialPort>(hFile);
        std::shared_ptr<Event> event;
        if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
            return fail(ErrorInvalidHandle);
        if (!lpBuffer || !lpOverlapped)
            return fail(ErrorInvalidParameter);
        return port->read(lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped, event);
    }

    BOOL WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                   DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        std::shared_ptr<Event> event;
        if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
            return fail(ErrorInvalidHandle);
        if (!lpBuffer || !lpOverlapped)
            return fail(ErrorInvalidParameter);
        return port->write(lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped,
                           event);
    }

    BOOL GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                             DWORD *lpNumberOfBytesTransferred, BOOL bWait)
    {
        const auto port = m_handles->find<SerialPort>(hFile);
        if (!port)
            return fail(ErrorInvalidHandle);
        if (!lpOverlapped || !lpNumberOfBytesTransferred)
            return fail(ErrorInvalidParameter);
        return port->result(lpOverlapped, lpNumberOfBytesTransferred, bWait != 0);
    }

private:
    /// The event of a record; false when its handle is no open event.
    bool eventOf(const Overlapped *overlapped, std::shared_ptr<Event> *event) const
    {
        if (!overlapped->hEvent)
            return true;
        *event = m_handles->find<Event>(overlapped->hEvent);
        return *event != nullptr;
    }

    const std::shared_ptr<Handles> m_handles;
    const DeviceNodeForPort m_deviceNodeForPort;
};

} // namespace

void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const DeviceNodeForPort &deviceNodeForPort)
{
    const auto ports = std::make_shared<Ports>(handles, deviceNodeForPort);
    platform->CreateFileW.provide(ports, &Ports::CreateFileW);
    platform->GetCommState.provide(ports, &Ports::GetCommState);
    platform->SetCommState.provide(ports, &Ports::SetCommState);
    platform->SetCommTimeouts.provide(ports, &Ports::SetCommTimeouts);
    platform->SetCommMask.provide(ports, &Ports::SetCommMask);
    platform->WaitCommEvent.provide(ports, &Ports::WaitCommEvent);
    platform->ReadFile.provide(ports, &Ports::ReadFile);
    platform->WriteFile.provide(ports, &Ports::WriteFile);
    platform->GetOverlappedResult.provide(ports, &Ports::GetOverlappedResult);
}

} // namespace platform
