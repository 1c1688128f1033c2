#include "platform/linux/helper/surroundings.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <initializer_list>
#include <linux/keyctl.h>
#include <sched.h>
#include <sys/personality.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

struct Limit {
    __rlimit_resource resource;
    rlim_t soft;
    rlim_t hard;
};

constexpr rlim_t KiB = 1024;

// As the kernel gives them to its first process; and no file of a process that
// knows passwords is left when it crashes.
constexpr Limit limits[] = {
    {RLIMIT_CPU, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_FSIZE, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_DATA, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_STACK, 8 * KiB *KiB, RLIM_INFINITY},
    {RLIMIT_CORE, 0, 0},
    {RLIMIT_RSS, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_NPROC, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_NOFILE, 1024, 4096},
    {RLIMIT_MEMLOCK, 8 * KiB *KiB, 8 * KiB *KiB},
    {RLIMIT_AS, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_LOCKS, RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_SIGPENDING, 4096, 4096},
    {RLIMIT_MSGQUEUE, 800 * KiB, 800 * KiB},
    {RLIMIT_NICE, 0, 0},
    {RLIMIT_RTPRIO, 0, 0},
    {RLIMIT_RTTIME, RLIM_INFINITY, RLIM_INFINITY},
};

/// pkexec keeps signals, timers and limits as it finds them.
bool resetSignalsAndTimers()
{
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    const itimerval none = {};
    for (const auto timer : {ITIMER_REAL, ITIMER_VIRTUAL, ITIMER_PROF})
        ::setitimer(timer, &none, nullptr);
    sigset_t nothing;
    ::sigemptyset(&nothing);
    return ::sigprocmask(SIG_SETMASK, &nothing, nullptr) == 0;
}

/// The asker cannot take root's right to do any of this; a container can, and then
/// its own limits are the best there is.
void resetLimitsAndPriorities()
{
    for (const Limit &limit : limits) {
        rlimit values = {limit.soft, limit.hard};
        if (::setrlimit(limit.resource, &values) == 0 || ::getrlimit(limit.resource, &values) != 0)
            continue;
        values.rlim_cur = std::min(limit.soft, values.rlim_max);
        ::setrlimit(limit.resource, &values);
    }
    const sched_param usual = {};
    ::sched_setscheduler(0, SCHED_OTHER, &usual);
    ::setpriority(PRIO_PROCESS, 0, 0);
    // Not every kernel's <linux/ioprio.h> is C++.
    constexpr int ioprioWhoProcess = 1;
    ::syscall(SYS_ioprio_set, ioprioWhoProcess, 0, 0);
    cpu_set_t processors;
    CPU_ZERO(&processors);
    for (int number = 0; number < CPU_SETSIZE; ++number)
        CPU_SET(number, &processors);
    ::sched_setaffinity(0, sizeof processors, &processors);
    ::personality(PER_LINUX);
    const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (file >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(file, "0", 1);
        ::close(file);
    }
    ::syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
}

/// A session of its own has no terminal: nobody's keys, and nobody's hang-up, reach
/// it. The leader of a process group cannot make one; its child can.
bool leaveSession()
{
    if (::setsid() >= 0)
        return true;
    const pid_t child = ::fork();
    if (child <= 0)
        return child == 0 && ::setsid() >= 0;
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE);
}

} // namespace

bool leaveTheAskersSurroundings()
{
    ::clearenv();
    ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    ::umask(022);
    resetLimitsAndPriorities();
    return ::chdir("/") == 0 && resetSignalsAndTimers() && leaveSession();
}

} // namespace platform::linuxsystem
