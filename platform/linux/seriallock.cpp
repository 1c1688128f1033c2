#include "platform/linux/seriallock.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

QByteArray lockFile(const QString &locksFolder, const QString &kernelName)
{
    return QFile::encodeName(locksFolder + "/LCK.." + kernelName);
}

} // namespace

pid_t lockOwner(const QString &locksFolder, const QString &kernelName)
{
    const QByteArray name = lockFile(locksFolder, kernelName);
    // Anyone may write into that folder. Reading a pipe there must not block
    // this program, and links are not followed.
    const int file = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0)
        return 0;
    struct stat facts = {};
    char content[32] = {};
    const bool isRead = ::fstat(file, &facts) == 0 && S_ISREG(facts.st_mode) &&
                        ::read(file, content, sizeof content - 1) > 0;
    ::close(file);
    const long number = isRead ? std::strtol(content, nullptr, 10) : 0;
    const pid_t process = number <= std::numeric_limits<pid_t>::max() ? pid_t(number) : 0;
    return process > 0 && (::kill(process, 0) == 0 || errno == EPERM) ? process : 0;
}

bool isLockNameTaken(const QString &locksFolder, const QString &kernelName)
{
    struct stat facts = {};
    return ::lstat(lockFile(locksFolder, kernelName).constData(), &facts) == 0 &&
           !S_ISREG(facts.st_mode);
}

} // namespace platform::linuxsystem
