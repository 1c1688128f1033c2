#include "tests/faults/apart.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace faults {

namespace {

constexpr int Finished = 0;

QByteArray contentOf(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// A copy of a process has only the thread that made it. What others held would
/// be held for ever.
void requireSingleThread()
{
    int threads = 0;
    DIR *tasks = ::opendir("/proc/self/task");
    while (const dirent *task = tasks ? ::readdir(tasks) : nullptr)
        threads += task->d_name[0] != '.' ? 1 : 0;
    if (tasks)
        ::closedir(tasks);

    if (threads != 1)
        qFatal("a process with %d threads cannot be copied", threads);
}

[[noreturn]] void runCopy(const QString &folder, const std::function<void(const Report &)> &run)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    qputenv("TMPDIR", QFile::encodeName(folder));
    const int errors = ::open(QFile::encodeName(folder + "/errors").constData(),
                              O_WRONLY | O_CREAT | O_TRUNC, 0600);
    ::dup2(errors, STDERR_FILENO);
    run([&](const QByteArray &report) {
        QFile file(folder + "/report");
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
            file.write(report) != report.size())
            std::_Exit(1);
    });
    std::fflush(nullptr);
    std::_Exit(Finished);
}

} // namespace

int startApart(const QString &folder, const std::function<void(const Report &)> &run)
{
    QFile::remove(folder + "/report");
    requireSingleThread();
    std::fflush(nullptr);
    const pid_t process = ::fork();
    if (process < 0)
        qFatal("no process can be made");
    if (process == 0)
        runCopy(folder, run);
    return process;
}

Apart waitForApart(int process, const QString &folder, int seconds)
{
    Apart apart;
    const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    pollfd ended = {descriptor, POLLIN, 0};
    apart.inTime = ::poll(&ended, 1, seconds * 1000) == 1;
    ::close(descriptor);
    if (!apart.inTime)
        ::kill(process, SIGABRT);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    apart.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    apart.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    apart.report = contentOf(folder + "/report");
    apart.errors = contentOf(folder + "/errors");
    return apart;
}

Apart runApart(const QString &folder, int seconds, const std::function<void(const Report &)> &run)
{
    return waitForApart(startApart(folder, run), folder, seconds);
}

void adoptOrphans()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void endOrphans()
{
    const QByteArray self = QByteArray::number(::getpid());
    for (;;) {
        const QList<QByteArray> children =
            contentOf("/proc/self/task/" + self + "/children").simplified().split(' ');
        if (children.first().isEmpty())
            return;
        for (const QByteArray &child : children) {
            ::kill(child.toInt(), SIGKILL);
            ::waitpid(child.toInt(), nullptr, 0);
        }
    }
}

} // namespace faults
