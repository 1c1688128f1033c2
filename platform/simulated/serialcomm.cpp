#include "platform/posix/lasterror.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/simulatedpc.h"
#include "platform/simulated/usbbus.h"

namespace platform {

namespace {
constexpr int OnBoardPort = 1;
}

DWORD SimulatedPc::Ports::deviceNodeForPort(int number, QString *node)
{
    if (number == OnBoardPort) {
        failUnsupported("CreateFileW", "opening the on-board port COM1");
        return ErrorNotSupported;
    }
    simulated::MachineSession session(m_directory);
    bool assigned = false;
    const auto ports = simulated::presentPorts(m_directory, &session.state, &assigned);
    const bool dropped = simulated::dropDeadConnections(m_directory, &session.state);
    if ((assigned || dropped) && !session.save())
        return ErrorGenFailure;
    // The remote access service holds the port of a connection that is up.
    for (const simulated::Connection &connection : session.state.connections) {
        if (connection.port == number)
            return ErrorAccessDenied;
    }
    for (const simulated::PresentPort &port : ports) {
        if (port.number == number) {
            *node = port.phone.tty;
            return Success;
        }
    }
    return ErrorFileNotFound;
}

HANDLE SimulatedPc::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
                                void *lpSecurityAttributes, DWORD dwCreationDisposition,
                                DWORD dwFlagsAndAttributes, HANDLE hTemplateFile)
{
    return m_ports.CreateFileW(lpFileName, dwDesiredAccess, dwShareMode, lpSecurityAttributes,
                               dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

BOOL SimulatedPc::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return m_ports.GetCommState(hFile, lpDCB);
}

BOOL SimulatedPc::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return m_ports.SetCommState(hFile, lpDCB);
}

BOOL SimulatedPc::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    return m_ports.SetCommTimeouts(hFile, lpCommTimeouts);
}

BOOL SimulatedPc::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    return m_ports.SetCommMask(hFile, dwEvtMask);
}

BOOL SimulatedPc::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    return m_ports.WaitCommEvent(hFile, lpEvtMask, lpOverlapped);
}

BOOL SimulatedPc::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                           DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    return m_ports.ReadFile(hFile, lpBuffer, nNumberOfBytesToRead, lpNumberOfBytesRead,
                            lpOverlapped);
}

BOOL SimulatedPc::WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                            DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
{
    return m_ports.WriteFile(hFile, lpBuffer, nNumberOfBytesToWrite, lpNumberOfBytesWritten,
                             lpOverlapped);
}

BOOL SimulatedPc::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                      DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    return m_ports.GetOverlappedResult(hFile, lpOverlapped, lpNumberOfBytesTransferred, bWait);
}

} // namespace platform
