#include "platform/posix/overlappedserial.h"

#include "platform/posix/lasterror.h"
#include "platform/posix/serialdevice.h"
#include "platform/posix/serialport.h"
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

} // namespace

HANDLE OverlappedSerial::CreateEventW(void *lpEventAttributes, BOOL bManualReset,
                                      BOOL bInitialState, const WCHAR *lpName)
{
    if (lpEventAttributes || lpName) {
        failUnsupported("CreateEventW", "named events and security attributes");
        return nullptr;
    }
    return m_handles.add(std::make_shared<Event>(bManualReset != 0, bInitialState != 0));
}

DWORD OverlappedSerial::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    // The object is held for the wait, so that closing it meanwhile is safe.
    const auto event = m_handles.find<Event>(hHandle);
    if (!event) {
        setLastError(ErrorInvalidHandle);
        return WaitFailed;
    }
    return event->wait(dwMilliseconds);
}

BOOL OverlappedSerial::CloseHandle(HANDLE hObject)
{
    const auto object = m_handles.remove(hObject);
    if (!object)
        return fail(ErrorInvalidHandle);
    object->close();
    return 1;
}

HANDLE OverlappedSerial::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess,
                                     DWORD dwShareMode, void *lpSecurityAttributes,
                                     DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                     HANDLE hTemplateFile)
{
    // A port is never shared and never created: these can only be mistakes.
    if (!lpFileName || dwShareMode != 0 || dwCreationDisposition != OpenExisting || hTemplateFile)
        return failedOpen(ErrorInvalidParameter);
    // Bare names end at COM9 on Windows; the device path works for every port.
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
    DWORD code = deviceNodeForPort(number, &node);
    if (code != Success)
        return failedOpen(code);
    const int descriptor = openSerialDevice(QFile::encodeName(node).constData(), &code);
    if (descriptor < 0)
        return failedOpen(code);
    return m_handles.add(std::make_shared<SerialPort>(descriptor));
}

BOOL OverlappedSerial::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    if (!port)
        return fail(ErrorInvalidHandle);
    return lpDCB ? port->getState(lpDCB) : fail(ErrorInvalidParameter);
}

BOOL OverlappedSerial::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    if (!port)
        return fail(ErrorInvalidHandle);
    return lpDCB ? port->setState(*lpDCB) : fail(ErrorInvalidParameter);
}

BOOL OverlappedSerial::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    if (!port)
        return fail(ErrorInvalidHandle);
    return lpCommTimeouts ? port->setTimeouts(*lpCommTimeouts) : fail(ErrorInvalidParameter);
}

BOOL OverlappedSerial::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    return port ? port->setMask(dwEvtMask) : fail(ErrorInvalidHandle);
}

BOOL OverlappedSerial::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    std::shared_ptr<Event> event;
    if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
        return fail(ErrorInvalidHandle);
    if (!lpEvtMask || !lpOverlapped)
        return fail(ErrorInvalidParameter);
    return port->waitEvent(lpEvtMask, lpOverlapped, event);
}

BOOL OverlappedSerial::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                                DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    // Callers that ignore the result look at the count alone.
    if (lpNumberOfBytesRead)
        *lpNumberOfBytesRead = 0;
    const auto port = m_handles.find<SerialPort>(hFile);
    std::shared_ptr<Event> event;
    if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
        return fail(ErrorInvalidHandle);
    if (!lpBuffer || !lpOverlapped)
        return fail(ErrorInvalidParameter);
    return port->read(lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead, lpOverlapped, event);
}

BOOL OverlappedSerial::WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                                 DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    std::shared_ptr<Event> event;
    if (!port || (lpOverlapped && !eventOf(lpOverlapped, &event)))
        return fail(ErrorInvalidHandle);
    if (!lpBuffer || !lpOverlapped)
        return fail(ErrorInvalidParameter);
    return port->write(lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten, lpOverlapped,
                       event);
}

BOOL OverlappedSerial::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                           DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    const auto port = m_handles.find<SerialPort>(hFile);
    if (!port)
        return fail(ErrorInvalidHandle);
    if (!lpOverlapped || !lpNumberOfBytesTransferred)
        return fail(ErrorInvalidParameter);
    return port->result(lpOverlapped, lpNumberOfBytesTransferred, bWait != 0);
}

HANDLE OverlappedSerial::addObject(std::shared_ptr<KernelObject> object)
{
    return m_handles.add(std::move(object));
}

bool OverlappedSerial::eventOf(const Overlapped *overlapped, std::shared_ptr<Event> *event) const
{
    if (!overlapped->hEvent)
        return true;
    *event = m_handles.find<Event>(overlapped->hEvent);
    return *event != nullptr;
}

} // namespace platform
