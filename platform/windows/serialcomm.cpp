#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

HANDLE WindowsPlatform::CreateFileW(const WCHAR *lpFileName, DWORD dwDesiredAccess,
                                    DWORD dwShareMode, void *lpSecurityAttributes,
                                    DWORD dwCreationDisposition, DWORD dwFlagsAndAttributes,
                                    HANDLE hTemplateFile)
{
    return ::CreateFileW(lpFileName, dwDesiredAccess, dwShareMode,
                         static_cast<LPSECURITY_ATTRIBUTES>(lpSecurityAttributes),
                         dwCreationDisposition, dwFlagsAndAttributes, hTemplateFile);
}

BOOL WindowsPlatform::GetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return ::GetCommState(hFile, reinterpret_cast<LPDCB>(lpDCB));
}

BOOL WindowsPlatform::SetCommState(HANDLE hFile, DeviceControlBlock *lpDCB)
{
    return ::SetCommState(hFile, reinterpret_cast<LPDCB>(lpDCB));
}

BOOL WindowsPlatform::SetCommTimeouts(HANDLE hFile, CommTimeouts *lpCommTimeouts)
{
    return ::SetCommTimeouts(hFile, reinterpret_cast<LPCOMMTIMEOUTS>(lpCommTimeouts));
}

BOOL WindowsPlatform::SetCommMask(HANDLE hFile, DWORD dwEvtMask)
{
    return ::SetCommMask(hFile, dwEvtMask);
}

BOOL WindowsPlatform::WaitCommEvent(HANDLE hFile, DWORD *lpEvtMask, Overlapped *lpOverlapped)
{
    return ::WaitCommEvent(hFile, reinterpret_cast<LPDWORD>(lpEvtMask),
                           reinterpret_cast<LPOVERLAPPED>(lpOverlapped));
}

BOOL WindowsPlatform::ReadFile(HANDLE hFile, void *lpBuffer, DWORD nNumberOfBytesToRead,
                               DWORD *lpNumberOfBytesRead, Overlapped *lpOverlapped)
{
    return ::ReadFile(hFile, lpBuffer, nNumberOfBytesToRead,
                      reinterpret_cast<LPDWORD>(lpNumberOfBytesRead),
                      reinterpret_cast<LPOVERLAPPED>(lpOverlapped));
}

BOOL WindowsPlatform::WriteFile(HANDLE hFile, const void *lpBuffer, DWORD nNumberOfBytesToWrite,
                                DWORD *lpNumberOfBytesWritten, Overlapped *lpOverlapped)
{
    return ::WriteFile(hFile, lpBuffer, nNumberOfBytesToWrite,
                       reinterpret_cast<LPDWORD>(lpNumberOfBytesWritten),
                       reinterpret_cast<LPOVERLAPPED>(lpOverlapped));
}

BOOL WindowsPlatform::GetOverlappedResult(HANDLE hFile, Overlapped *lpOverlapped,
                                          DWORD *lpNumberOfBytesTransferred, BOOL bWait)
{
    return ::GetOverlappedResult(hFile, reinterpret_cast<LPOVERLAPPED>(lpOverlapped),
                                 reinterpret_cast<LPDWORD>(lpNumberOfBytesTransferred), bWait);
}

} // namespace platform
