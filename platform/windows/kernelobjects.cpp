#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

HANDLE WindowsPlatform::CreateEventW(void *lpEventAttributes, BOOL bManualReset, BOOL bInitialState,
                                     const WCHAR *lpName)
{
    return ::CreateEventW(static_cast<LPSECURITY_ATTRIBUTES>(lpEventAttributes), bManualReset,
                          bInitialState, lpName);
}

DWORD WindowsPlatform::WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return ::WaitForSingleObject(hHandle, dwMilliseconds);
}

BOOL WindowsPlatform::CloseHandle(HANDLE hObject)
{
    return ::CloseHandle(hObject);
}

} // namespace platform
