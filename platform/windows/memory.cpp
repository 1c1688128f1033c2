#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

HANDLE WindowsPlatform::GetProcessHeap()
{
    return ::GetProcessHeap();
}

void *WindowsPlatform::HeapAlloc(HANDLE hHeap, DWORD dwFlags, SIZE_T dwBytes)
{
    return ::HeapAlloc(hHeap, dwFlags, dwBytes);
}

BOOL WindowsPlatform::HeapFree(HANDLE hHeap, DWORD dwFlags, void *lpMem)
{
    return ::HeapFree(hHeap, dwFlags, lpMem);
}

void *WindowsPlatform::LocalAlloc(UINT uFlags, SIZE_T uBytes)
{
    return ::LocalAlloc(uFlags, uBytes);
}

void *WindowsPlatform::LocalFree(void *hMem)
{
    return ::LocalFree(hMem);
}

} // namespace platform
