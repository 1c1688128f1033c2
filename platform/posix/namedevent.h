#pragma once

#include "platform/posix/event.h"

#include <QByteArray>
#include <QString>

#include <vector>

// Events that the processes of one user in one session share by name. A name is
// an abstract socket address of the kernel: it lies in no file, so nothing is
// left of a process that crashed.
namespace platform {

/// A descriptor that is closed with the object.
class Descriptor
{
public:
    explicit Descriptor(int value = -1) : m_value(value) {}
    Descriptor(Descriptor &&other) noexcept;
    Descriptor &operator=(Descriptor &&other) noexcept;
    ~Descriptor();

    int get() const { return m_value; }

private:
    int m_value;
};

/// The event as its maker has it. The others open it through the socket that
/// bears the name, and signal it with a byte. The name is free when the object
/// goes, and so when its process ends. Any thread.
class NamedEvent : public Event, public EventSource
{
public:
    /// `listener` bears the name. Arm the event with itself afterwards.
    NamedEvent(bool manualReset, bool signalled, Descriptor listener);

    /// 0, or the errno of what the constructor could not do.
    int error() const { return m_error; }

    void progress() override;
    int pollDescriptor() const override { return m_watch.get(); }
    short pollEvents() const override;

private:
    bool watch(int descriptor);
    void acceptOpeners();
    void hear(int opener);

    const Descriptor m_listener;
    const Descriptor m_watch; // epoll: the listener and the openers
    int m_error = 0;
    std::mutex m_openersMutex;
    std::vector<Descriptor> m_openers;
};

/// The event as somebody has it who found it made. It can be signalled and not
/// be waited for. Any thread.
class OpenedEvent : public KernelObject
{
public:
    explicit OpenedEvent(Descriptor connection) : m_connection(std::move(connection)) {}

    /// Signals the event. 0, or an errno when its maker is gone.
    int signal() const;

private:
    const Descriptor m_connection;
};

/// What opening a name gives: one of the two, or an error code of CreateEventW.
struct NamedEventResult {
    std::shared_ptr<NamedEvent> made;
    std::shared_ptr<OpenedEvent> opened;
    DWORD code = Success;
};

/// Makes the event of this name, or opens it when it is there. The name begins
/// with "Local\"; the session is what $DISPLAY names, or else
/// $WAYLAND_DISPLAY. An event that another user made answers 5.
NamedEventResult openNamedEvent(const QString &name, bool manualReset, bool signalled);

} // namespace platform
