#pragma once

#include "platform/types.h"

#include <memory>
#include <mutex>
#include <vector>

namespace platform {

/// Anything that CloseHandle can close.
class KernelObject
{
public:
    virtual ~KernelObject() = default;

    /// The handle was closed; others may still be inside a call on the object.
    virtual void close() {}
};

/// Something that goes on behind an event: the descriptor to watch and what to
/// do when it stirs.
class EventSource
{
public:
    virtual ~EventSource() = default;

    /// Does what can be done without waiting; signals the events of whatever
    /// came to its end.
    virtual void progress() = 0;

    /// The descriptor that can bring progress; -1 when nothing can any longer.
    virtual int pollDescriptor() const = 0;
    /// The poll(2) events of it that can; POLLHUP is always reported.
    virtual short pollEvents() const = 0;
};

/// An event as KernelObjects makes them; also the signalled state of whatever
/// else can be waited for. Any thread.
class Event : public KernelObject
{
public:
    /// A manual-reset event stays signalled until reset(); an auto-reset event
    /// releases one waiter and resets itself.
    Event(bool manualReset, bool signalled);

    /// Signals the event, and ends the waits under way.
    void set();
    /// Makes the event not signalled and forgets a failure.
    void reset();

    /// Makes every wait fail with a last-error code until the next reset():
    /// what it waited for can no longer happen.
    void fail(DWORD code);

    /// From now on the source decides when the event is signalled; null for
    /// none. Waits that are already under way notice.
    void arm(const std::weak_ptr<EventSource> &source);

    /// WaitForSingleObject: WaitObject0, WaitTimeout or WaitFailed. Sleeps in
    /// poll(2) until something stirs, without waking up in between.
    DWORD wait(DWORD milliseconds);

private:
    void wakeWaiters();

    const bool m_manualReset;
    std::mutex m_mutex;
    bool m_signalled;
    DWORD m_failure = Success;
    std::weak_ptr<EventSource> m_source;
    std::vector<int> m_waiters; // one eventfd for each wait under way
};

inline constexpr DWORD WaitTimeout = 258; ///< WAIT_TIMEOUT

} // namespace platform
