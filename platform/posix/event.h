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

    /// The handle was closed. Other threads may still be in a call on the
    /// object.
    virtual void close() {}
};

/// Work in progress that signals an event: which descriptor to watch, and what
/// to do when it is ready.
class EventSource
{
public:
    virtual ~EventSource() = default;

    /// Does what can be done without waiting, and signals the events of the
    /// operations that are finished.
    virtual void progress() = 0;

    /// The descriptor to wait for; -1 when there is nothing left to wait for.
    virtual int pollDescriptor() const = 0;
    /// The poll(2) events of that descriptor to wait for. POLLHUP is always
    /// reported.
    virtual short pollEvents() const = 0;
};

/// An event of KernelObjects, and the signalled state of everything else that
/// can be waited for. Any thread.
class Event : public KernelObject
{
public:
    /// A manual-reset event stays signalled until reset(); an auto-reset event
    /// releases one waiter and resets itself.
    Event(bool manualReset, bool signalled);

    /// Signals the event, which ends the waits that are under way.
    void set();
    /// Makes the event not signalled and forgets a failure.
    void reset();

    /// Makes every wait fail with this last-error code until the next reset(),
    /// because what it waits for can no longer happen.
    void fail(DWORD code);

    /// From now on the source decides when the event is signalled; null for
    /// none. Waits that are already under way notice.
    void arm(const std::weak_ptr<EventSource> &source);

    /// WaitForSingleObject: WaitObject0, WaitTimeout or WaitFailed. Sleeps in
    /// poll(2) until something happens.
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

} // namespace platform
