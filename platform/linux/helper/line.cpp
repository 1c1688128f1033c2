#include "platform/linux/helper/line.h"

#include "platform/linux/seriallock.h"
#include "platform/posix/serialdevice.h"

#include <QFile>
#include <QFileInfo>

#include <sys/ioctl.h>
#include <unistd.h>

namespace platform::linuxsystem {

DWORD hangUpLine(const QString &node, const QString &locksFolder)
{
    // A link that is up must not lose its line.
    const QString kernelName = QFileInfo(node).fileName();
    if (isLineLocked(locksFolder, kernelName) || isLockNameTaken(locksFolder, kernelName))
        return ErrorAccessDenied;
    DWORD error = Success;
    const int descriptor = openSerialDevice(QFile::encodeName(node).constData(), &error);
    if (descriptor < 0)
        return error == ErrorAccessDenied ? error : DWORD(Success);
    // Who still has the line open keeps the terminal, and so its claim, alive.
    ::ioctl(descriptor, TIOCNXCL);
    const bool isFree = ::ioctl(descriptor, TIOCVHANGUP) == 0;
    ::close(descriptor);
    return isFree ? DWORD(Success) : DWORD(ErrorAccessDenied);
}

} // namespace platform::linuxsystem
