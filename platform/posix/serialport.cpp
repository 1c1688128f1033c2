#include "platform/posix/serialport.h"

#include "platform/kernelobjects.h"
#include "platform/posix/errno.h"
#include "platform/posix/serialdevice.h"
#include "platform/standin/lasterror.h"

#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace platform {

namespace {

constexpr ULONG_PTR StatusPending = 0x103; // STATUS_PENDING in Overlapped::Internal
constexpr DWORD ErrorIoIncomplete = 996;   // ERROR_IO_INCOMPLETE
constexpr DWORD SupportedEvents = EventReceivedCharacter | EventTransmitEmpty;

bool returnsAtOnce(const CommTimeouts &timeouts)
{
    return timeouts.ReadIntervalTimeout == MaxDword && timeouts.ReadTotalTimeoutMultiplier == 0 &&
           timeouts.ReadTotalTimeoutConstant == 0 && timeouts.WriteTotalTimeoutMultiplier == 0 &&
           timeouts.WriteTotalTimeoutConstant == 0;
}

/// The code for errno after a transfer. A line that is gone has several.
DWORD transferError()
{
    const DWORD code = errorFromErrno(errno);
    return code == ErrorFileNotFound ? ErrorDeviceNotConnected : code;
}

} // namespace

SerialPort::SerialPort(int descriptor) : m_descriptor(descriptor) {}

SerialPort::~SerialPort()
{
    closeSerialDevice(m_descriptor);
}

BOOL SerialPort::getState(DeviceControlBlock *settings)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const DWORD code = readLineSettings(m_descriptor, settings);
    return code == Success ? 1 : fail(code);
}

BOOL SerialPort::setState(const DeviceControlBlock &settings)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const DWORD code = applyLineSettings(m_descriptor, settings);
    return code == Success ? 1 : fail(code);
}

BOOL SerialPort::setTimeouts(const CommTimeouts &timeouts)
{
    if (!returnsAtOnce(timeouts))
        return failUnsupported("SetCommTimeouts", "reads or writes that wait");
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (isHungUp(m_descriptor))
        return fail(ErrorDeviceNotConnected);
    // There is nothing to set: a raw, non-blocking line reads like this anyway.
    m_timeoutsSet = true;
    return 1;
}

BOOL SerialPort::setMask(DWORD mask)
{
    if (mask & ~SupportedEvents)
        return failUnsupported("SetCommMask", "events other than EV_RXCHAR and EV_TXEMPTY");
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (isHungUp(m_descriptor))
        return fail(ErrorDeviceNotConnected);
    m_mask = mask;
    // A new mask ends the wait for the old one, with no event.
    if (m_wait) {
        const std::unique_ptr<Wait> wait = std::move(m_wait);
        *wait->mask = 0;
        complete(*wait, Success, sizeof(DWORD));
    }
    return 1;
}

BOOL SerialPort::waitEvent(DWORD *mask, Overlapped *overlapped, const std::shared_ptr<Event> &event)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    progressLocked();
    if (m_closed)
        return fail(ErrorInvalidHandle);
    // As in a driver, a port has one wait at a time, and a wait for no event at
    // all is refused, as it could never end.
    if (m_wait || m_mask == 0)
        return fail(ErrorInvalidParameter);
    m_wait = std::make_unique<Wait>();
    m_wait->mask = mask;
    // Arm the event before the first look, so that nothing is missed in
    // between.
    begin(m_wait.get(), overlapped, event);
    progressWait();
    if (m_wait)
        return fail(ErrorIoPending);
    return overlapped->Internal == Success ? 1 : fail(static_cast<DWORD>(overlapped->Internal));
}

BOOL SerialPort::read(void *buffer, DWORD size, DWORD *count, Overlapped *overlapped,
                      const std::shared_ptr<Event> &event)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (count)
        *count = 0;
    progressLocked();
    if (m_closed)
        return fail(ErrorInvalidHandle);
    if (!m_timeoutsSet)
        return failUnsupported("ReadFile", "reads that wait");
    Operation operation;
    begin(&operation, overlapped, event);
    ssize_t received = 0;
    do {
        received = size == 0 ? 0 : ::read(m_descriptor, buffer, size);
    } while (received < 0 && errno == EINTR);

    DWORD code = Success;
    if (received < 0) {
        code = errno == EAGAIN ? Success : transferError();
        received = 0;
    } else if (received == 0 && size > 0) {
        code = ErrorDeviceNotConnected; // in raw mode the end of input is a hang-up
    }
    // Some lines still answer "nothing to read" after a hang-up.
    if (code == Success && received == 0 && isHungUp(m_descriptor))
        code = ErrorDeviceNotConnected;
    if (count)
        *count = static_cast<DWORD>(received);
    complete(operation, code, static_cast<DWORD>(received));
    return code == Success ? 1 : fail(code);
}

BOOL SerialPort::write(const void *data, DWORD size, DWORD *count, Overlapped *overlapped,
                       const std::shared_ptr<Event> &event)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (count)
        *count = 0;
    progressLocked();
    if (m_closed)
        return fail(ErrorInvalidHandle);
    Write write;
    begin(&write, overlapped, event);
    write.data = static_cast<const BYTE *>(data);
    write.size = size;
    // Behind the pending writes, as bytes are sent in the order of the calls.
    m_writes.push_back(write);
    progressWrites();
    if (completionOf(overlapped))
        return fail(ErrorIoPending);
    if (overlapped->Internal != Success)
        return fail(static_cast<DWORD>(overlapped->Internal));
    if (count)
        *count = size;
    return 1;
}

BOOL SerialPort::result(Overlapped *overlapped, DWORD *count, bool wait)
{
    for (;;) {
        std::shared_ptr<Event> completion;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            progressLocked();
            completion = completionOf(overlapped);
            if (!completion) {
                *count = static_cast<DWORD>(overlapped->InternalHigh);
                const auto code = static_cast<DWORD>(overlapped->Internal);
                return code == Success ? 1 : fail(code);
            }
        }
        // Wait without the lock, so that other calls can go on.
        if (!wait)
            return fail(ErrorIoIncomplete);
        if (completion->wait(WaitInfinite) == WaitFailed)
            return 0;
    }
}

void SerialPort::close()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    // After this the caller may free its records. They are not used again.
    m_closed = true;
    while (!m_writes.empty()) {
        const Write write = m_writes.front();
        m_writes.pop_front();
        complete(write, ErrorOperationAborted, write.done);
    }
    if (m_wait) {
        const std::unique_ptr<Wait> wait = std::move(m_wait);
        complete(*wait, ErrorOperationAborted, 0);
    }
}

void SerialPort::progress()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    progressLocked();
}

int SerialPort::pollDescriptor() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_closed ? -1 : m_descriptor;
}

short SerialPort::pollEvents() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    short events = 0;
    // poll(2) would return too often if it were asked for events that nobody
    // waits for. It always reports a hang-up.
    if (m_wait && (m_mask & EventReceivedCharacter))
        events |= POLLIN;
    if (!m_writes.empty())
        events |= POLLOUT;
    return events;
}

void SerialPort::begin(Operation *operation, Overlapped *overlapped,
                       const std::shared_ptr<Event> &event)
{
    overlapped->Internal = StatusPending;
    overlapped->InternalHigh = 0;
    operation->overlapped = overlapped;
    operation->event = event;
    operation->completion = std::make_shared<Event>(true, false);
    // The caller's event may be missing, or another operation may use it, too.
    // So result() waits for an event of the port's own.
    operation->completion->arm(weak_from_this());
    if (event) {
        event->reset();
        event->arm(weak_from_this());
    }
}

void SerialPort::complete(const Operation &operation, DWORD code, DWORD bytes)
{
    operation.overlapped->Internal = code;
    operation.overlapped->InternalHigh = bytes;
    operation.completion->arm({});
    operation.completion->set();
    if (!operation.event)
        return;
    operation.event->arm({});
    operation.event->set();
}

void SerialPort::progressLocked()
{
    if (m_closed)
        return;
    progressWrites();
    progressWait();
}

void SerialPort::progressWrites()
{
    while (!m_writes.empty()) {
        Write &write = m_writes.front();
        while (write.done < write.size) {
            const ssize_t taken =
                ::write(m_descriptor, write.data + write.done, write.size - write.done);
            if (taken < 0 && errno == EINTR)
                continue;
            if (taken < 0 && errno == EAGAIN) {
                if (!isHungUp(m_descriptor))
                    return;
                errno = EIO;
            }
            if (taken < 0)
                break;
            write.done += static_cast<DWORD>(taken);
        }
        const DWORD code = write.done == write.size ? DWORD(Success) : transferError();
        const Write ended = write;
        m_writes.pop_front();
        // The line is empty once its driver has taken everything.
        if (code == Success && m_writes.empty())
            m_transmitted = true;
        complete(ended, code, ended.done);
    }
}

void SerialPort::progressWait()
{
    if (!m_wait)
        return;
    DWORD events = 0;
    if ((m_mask & EventReceivedCharacter) && inputWaiting(m_descriptor) > 0)
        events |= EventReceivedCharacter;
    if ((m_mask & EventTransmitEmpty) && m_transmitted)
        events |= EventTransmitEmpty;
    // A hang-up throws away what was received and not yet read.
    const bool gone = events == 0 && isHungUp(m_descriptor);
    if (events == 0 && !gone)
        return;

    const std::unique_ptr<Wait> wait = std::move(m_wait);
    if (events != 0) {
        m_transmitted = m_transmitted && !(events & EventTransmitEmpty);
        *wait->mask = events;
        complete(*wait, Success, sizeof(DWORD));
        return;
    }
    // Nothing will ever come from this line again. If the event were signalled,
    // the caller would read and wait in an endless loop. So its wait fails.
    wait->overlapped->Internal = ErrorDeviceNotConnected;
    wait->completion->set();
    if (wait->event) {
        wait->event->arm({});
        wait->event->fail(ErrorDeviceNotConnected);
    }
}

std::shared_ptr<Event> SerialPort::completionOf(const Overlapped *overlapped) const
{
    for (const Write &write : m_writes) {
        if (write.overlapped == overlapped)
            return write.completion;
    }
    if (m_wait && m_wait->overlapped == overlapped)
        return m_wait->completion;
    return nullptr;
}

} // namespace platform
