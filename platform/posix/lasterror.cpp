#include "platform/posix/lasterror.h"

#include <cerrno>
#include <cstdio>

namespace platform {

namespace {
thread_local DWORD currentCode = Success;
}

DWORD lastError()
{
    return currentCode;
}

void setLastError(DWORD code)
{
    currentCode = code;
}

BOOL fail(DWORD code)
{
    setLastError(code);
    return 0;
}

BOOL failUnsupported(const char *operation, const char *what)
{
    std::fprintf(stderr, "%s: not supported by this platform: %s\n", operation, what);
    return fail(ErrorNotSupported);
}

DWORD errorFromErrno(int number)
{
    switch (number) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
        return ErrorFileNotFound;
    case EACCES:
    case EPERM:
    case EBUSY:
    case EWOULDBLOCK:
        return ErrorAccessDenied;
    case EBADF:
        return ErrorInvalidHandle;
    case ENOMEM:
        return ErrorNotEnoughMemory;
    case EIO:
        return ErrorDeviceNotConnected;
    default:
        return ErrorGenFailure;
    }
}

} // namespace platform
