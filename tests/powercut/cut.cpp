#include "tests/powercut/cut.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace {

std::vector<std::string> folders;
std::function<void()> watcher;
std::atomic<int> changes{0};
int fatalChange = 0;
Cut fatalHow = Cut::Before;
thread_local bool isWatching = false;

bool isCounted(const std::string &path)
{
    if (isWatching)
        return false;
    for (const std::string &folder : folders) {
        if (path.compare(0, folder.size(), folder) == 0)
            return true;
    }
    return false;
}

std::string pathOf(int descriptor)
{
    char link[64];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    char path[PATH_MAX];
    const ssize_t length = ::readlink(link, path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

/// A change that may be the last one. Counts it, and ends the process when it is.
class Change
{
public:
    explicit Change(const std::string &path, const std::function<void()> &half = {})
        : m_isCounted(isCounted(path))
    {
        if (!m_isCounted || ++changes != fatalChange)
            return;
        if (fatalHow == Cut::Within && half)
            half();
        ::kill(::getpid(), SIGKILL);
    }
    ~Change()
    {
        if (!m_isCounted || !watcher)
            return;
        const int error = errno;
        isWatching = true;
        watcher();
        isWatching = false;
        errno = error;
    }
    Change(const Change &) = delete;
    Change &operator=(const Change &) = delete;

private:
    const bool m_isCounted;
};

std::string pathAt(int folder, const char *name)
{
    return name[0] == '/' || folder == AT_FDCWD ? std::string(name) : pathOf(folder) + '/' + name;
}

int openFile(const char *name, int flags, mode_t mode)
{
    const auto call = [&] {
        return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, name, flags, mode));
    };
    if ((flags & (O_CREAT | O_TRUNC)) == 0)
        return call();
    const Change change(name);
    return call();
}

} // namespace

void cutPowerAt(int change, Cut how, const QStringList &below)
{
    folders.clear();
    for (const QString &folder : below)
        folders.push_back(QFile::encodeName(folder).toStdString());
    changes = 0;
    fatalChange = change;
    fatalHow = how;
}

int countedChanges()
{
    return changes;
}

void watchChanges(std::function<void()> function)
{
    watcher = std::move(function);
}

// In place of the C library's, for this executable and every library that it loads.
extern "C" {

ssize_t write(int descriptor, const void *bytes, size_t count)
{
    const auto call = [&](size_t part) { return ::syscall(SYS_write, descriptor, bytes, part); };
    const Change change(folders.empty() ? std::string() : pathOf(descriptor),
                        [&] { call(count / 2); });
    return call(count);
}

int open(const char *name, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openFile(name, flags, mode);
}

int open64(const char *name, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return openFile(name, flags, mode);
}

int rename(const char *from, const char *to) noexcept
{
    const Change change(to);
    return static_cast<int>(::syscall(SYS_rename, from, to));
}

int renameat2(int fromFolder, const char *from, int toFolder, const char *to,
              unsigned flags) noexcept
{
    const Change change(pathAt(toFolder, to));
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

int linkat(int fromFolder, const char *from, int toFolder, const char *to, int flags) noexcept
{
    const Change change(pathAt(toFolder, to));
    return static_cast<int>(::syscall(SYS_linkat, fromFolder, from, toFolder, to, flags));
}

int unlink(const char *name) noexcept
{
    const Change change(name);
    return static_cast<int>(::syscall(SYS_unlink, name));
}

int mkdir(const char *name, mode_t mode) noexcept
{
    const Change change(name);
    return static_cast<int>(::syscall(SYS_mkdir, name, mode));
}

int fsync(int descriptor)
{
    const Change change(pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

int fdatasync(int descriptor)
{
    const Change change(pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_fdatasync, descriptor));
}

int ftruncate64(int descriptor, off64_t length) noexcept
{
    const Change change(pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_ftruncate, descriptor, length));
}

int ftruncate(int descriptor, off_t length) noexcept
{
    return ftruncate64(descriptor, length);
}

int fchmod(int descriptor, mode_t mode) noexcept
{
    const Change change(pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_fchmod, descriptor, mode));
}

} // extern "C"
