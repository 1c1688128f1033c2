#include "platform/posix/filelock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {

FileLock::FileLock(const QString &path, mode_t mode)
    : m_descriptor(::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, mode))
{
    int result = m_descriptor < 0 ? -1 : ::flock(m_descriptor, LOCK_EX);
    while (result != 0 && m_descriptor >= 0 && errno == EINTR)
        result = ::flock(m_descriptor, LOCK_EX);
    if (result != 0)
        m_error = errno;
}

FileLock::~FileLock()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor); // gives the lock back
}

} // namespace platform
