#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

HMODULE WindowsPlatform::GetModuleHandleW(const WCHAR *lpModuleName)
{
    return ::GetModuleHandleW(lpModuleName);
}

HMODULE WindowsPlatform::LoadLibraryW(const WCHAR *lpLibFileName)
{
    return ::LoadLibraryW(lpLibFileName);
}

FunctionAddress WindowsPlatform::GetProcAddress(HMODULE hModule, const char *lpProcName)
{
    return reinterpret_cast<FunctionAddress>(
        ::GetProcAddress(static_cast<::HMODULE>(hModule), lpProcName));
}

BOOL WindowsPlatform::FreeLibrary(HMODULE hLibModule)
{
    return ::FreeLibrary(static_cast<::HMODULE>(hLibModule));
}

} // namespace platform
