#include "platform/windows/windowsplatform.h"

#include <windows.h>

namespace platform {

DWORD WindowsPlatform::GetLastError()
{
    return ::GetLastError();
}

void WindowsPlatform::SetLastError(DWORD dwErrCode)
{
    ::SetLastError(dwErrCode);
}

} // namespace platform
