#pragma once

#include "platform/posix/event.h"
#include "platform/serialcomm.h"

#include <deque>

namespace platform {

/// One open COM port: overlapped operations over a non-blocking descriptor.
/// Nothing runs in the background. Pending operations make progress whenever
/// the port is used or a thread waits for one of its events. Callers cannot
/// tell the difference.
class SerialPort : public KernelObject,
                   public EventSource,
                   public std::enable_shared_from_this<SerialPort>
{
public:
    /// Takes over a descriptor of openSerialDevice().
    explicit SerialPort(int descriptor);
    ~SerialPort() override;

    // The operations of SerialComm. The event is the one that the overlapped
    // record names; null when it names none.
    BOOL getState(DeviceControlBlock *settings);
    BOOL setState(const DeviceControlBlock &settings);
    BOOL setTimeouts(const CommTimeouts &timeouts);
    BOOL setMask(DWORD mask);
    BOOL waitEvent(DWORD *mask, Overlapped *overlapped, const std::shared_ptr<Event> &event);
    BOOL read(void *buffer, DWORD size, DWORD *count, Overlapped *overlapped,
              const std::shared_ptr<Event> &event);
    BOOL write(const void *data, DWORD size, DWORD *count, Overlapped *overlapped,
               const std::shared_ptr<Event> &event);
    BOOL result(Overlapped *overlapped, DWORD *count, bool wait);

    /// Pending operations end with ErrorOperationAborted. The device itself is
    /// given back when the last call on the port has returned.
    void close() override;

    void progress() override;
    int pollDescriptor() const override;
    short pollEvents() const override;

private:
    struct Operation {
        Overlapped *overlapped = nullptr;
        std::shared_ptr<Event> event;      // the caller's, may be null
        std::shared_ptr<Event> completion; // the port's own, for result()
    };
    struct Write : Operation {
        const BYTE *data = nullptr;
        DWORD size = 0;
        DWORD done = 0;
    };
    struct Wait : Operation {
        DWORD *mask = nullptr;
    };

    void begin(Operation *operation, Overlapped *overlapped, const std::shared_ptr<Event> &event);
    void complete(const Operation &operation, DWORD code, DWORD bytes);
    void progressLocked();
    void progressWrites();
    void progressWait();
    /// Null when the operation is not pending (any longer).
    std::shared_ptr<Event> completionOf(const Overlapped *overlapped) const;

    mutable std::mutex m_mutex;
    const int m_descriptor;
    bool m_closed = false;
    bool m_timeoutsSet = false;
    bool m_transmitted = false; // EventTransmitEmpty is due
    DWORD m_mask = 0;
    std::deque<Write> m_writes;
    std::unique_ptr<Wait> m_wait;
};

} // namespace platform
