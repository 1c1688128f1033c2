#include "platform/posix/errno.h"

#include <cerrno>

namespace platform {

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
