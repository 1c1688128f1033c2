#include "platform/posix/event.h"

#include "platform/kernelobjects.h"
#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <limits>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

/// The time until the deadline, as poll(2) expects it. Rounded up, as
/// waits of 0 milliseconds would keep the processor busy until then.
int remaining(DWORD milliseconds, Clock::time_point deadline)
{
    if (milliseconds == WaitInfinite)
        return -1;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    const auto rounded = (std::max<long long>(left, 0) + 999) / 1000;
    return static_cast<int>(std::min<long long>(rounded, std::numeric_limits<int>::max()));
}

} // namespace

Event::Event(bool manualReset, bool signalled) : m_manualReset(manualReset), m_signalled(signalled)
{
}

void Event::set()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_signalled = true;
    wakeWaiters();
}

void Event::reset()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_signalled = false;
    m_failure = Success;
}

void Event::fail(DWORD code)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_failure = code;
    wakeWaiters();
}

void Event::arm(const std::weak_ptr<EventSource> &source)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_source = source;
    wakeWaiters();
}

void Event::wakeWaiters()
{
    const std::uint64_t one = 1;
    for (const int waiter : m_waiters) {
        while (::write(waiter, &one, sizeof one) < 0 && errno == EINTR) {
        }
    }
}

DWORD Event::wait(DWORD milliseconds)
{
    // Unused when the wait is infinite.
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    int waiter = -1;
    DWORD result = WaitTimeout;
    bool expired = false;
    for (;;) {
        std::shared_ptr<EventSource> source;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            source = m_source.lock();
        }
        // Without the lock, as progress may signal this event.
        if (source)
            source->progress();

        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_signalled) {
                if (!m_manualReset)
                    m_signalled = false;
                result = WaitObject0;
                break;
            }
            if (m_failure != Success) {
                setLastError(m_failure);
                result = WaitFailed;
                break;
            }
            if (expired)
                break;
            if (waiter < 0) {
                waiter = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
                if (waiter < 0) {
                    setLastError(errorFromErrno(errno));
                    result = WaitFailed;
                    break;
                }
                m_waiters.push_back(waiter);
            }
            // The event got another source since the loop began. Look at that
            // one first.
            if (m_source.lock() != source)
                continue;
        }

        pollfd descriptors[2] = {{waiter, POLLIN, 0}, {-1, 0, 0}};
        if (source)
            descriptors[1] = {source->pollDescriptor(), source->pollEvents(), 0};
        const int ready = ::poll(descriptors, 2, remaining(milliseconds, deadline));
        if (ready < 0 && errno != EINTR) {
            setLastError(errorFromErrno(errno));
            result = WaitFailed;
            break;
        }
        // Look once more after the time is over: a signal at the last moment
        // counts.
        expired = ready == 0;
        std::uint64_t count = 0;
        if ((descriptors[0].revents & POLLIN) && ::read(waiter, &count, sizeof count) < 0)
            continue;
    }

    if (waiter >= 0) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_waiters.erase(std::remove(m_waiters.begin(), m_waiters.end(), waiter), m_waiters.end());
        ::close(waiter);
    }
    return result;
}

} // namespace platform
