#include "platform/linux/seriallock.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform::linuxsystem {

pid_t lockOwner(const QString &locksFolder, const QString &kernelName)
{
    const QByteArray name = QFile::encodeName(locksFolder + "/LCK.." + kernelName);
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
    const pid_t process = isRead ? std::atoi(content) : 0;
    return process > 0 && (::kill(process, 0) == 0 || errno == EPERM) ? process : 0;
}

} // namespace platform::linuxsystem
