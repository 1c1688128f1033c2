#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

BOOL WindowsPlatform::CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                                     void *lpProcessAttributes, void *lpThreadAttributes,
                                     BOOL bInheritHandles, DWORD dwCreationFlags,
                                     void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                                     StartupInfo *lpStartupInfo,
                                     ProcessInformation *lpProcessInformation)
{
    return ::CreateProcessW(
        lpApplicationName, lpCommandLine, static_cast<LPSECURITY_ATTRIBUTES>(lpProcessAttributes),
        static_cast<LPSECURITY_ATTRIBUTES>(lpThreadAttributes), bInheritHandles, dwCreationFlags,
        lpEnvironment, lpCurrentDirectory, reinterpret_cast<LPSTARTUPINFOW>(lpStartupInfo),
        reinterpret_cast<LPPROCESS_INFORMATION>(lpProcessInformation));
}

} // namespace platform
