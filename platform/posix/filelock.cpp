#include "platform/posix/filelock.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace platform {

namespace {

// The kernel has no lock of a file that is waited for with a limit, but one that is
// asked for again.
constexpr std::chrono::milliseconds Pause(20);

} // namespace

FileLock::FileLock(const QString &path, mode_t mode,
                   std::optional<std::chrono::milliseconds> patience)
    // A link would have the file made wherever it leads.
    : m_descriptor(::open(QFile::encodeName(path).constData(),
                          O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, mode))
{
    m_error = m_descriptor < 0 ? errno : lock(patience);
}

FileLock::~FileLock()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor); // gives the lock back
}

int FileLock::lock(std::optional<std::chrono::milliseconds> patience) const
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    while (::flock(m_descriptor, patience ? LOCK_EX | LOCK_NB : LOCK_EX) != 0) {
        if (errno != EINTR && errno != EWOULDBLOCK)
            return errno;
        if (errno == EINTR)
            continue;
        if (Clock::now() - start >= *patience)
            return ETIMEDOUT;
        std::this_thread::sleep_for(Pause);
    }
    return 0;
}

} // namespace platform
