#include "platform/posix/namedevent.h"

#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace platform {

namespace {

constexpr DWORD ErrorFilenameExceedsRange = 206; // ERROR_FILENAME_EXCED_RANGE

const char localPrefix[] = "Local\\";

QByteArray session()
{
    for (const char *variable : {"DISPLAY", "WAYLAND_DISPLAY"}) {
        const char *value = std::getenv(variable);
        if (value && *value)
            return value;
    }
    return {};
}

/// An address in the kernel's own table instead of the file system.
struct Address {
    sockaddr_un record = {};
    socklen_t size = 0; // 0 when the name is too long

    explicit Address(const QByteArray &name)
    {
        record.sun_family = AF_UNIX;
        // The zero byte in front is what makes it abstract.
        if (name.size() + 1 > static_cast<int>(sizeof record.sun_path))
            return;
        std::memcpy(record.sun_path + 1, name.constData(), static_cast<std::size_t>(name.size()));
        size =
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + std::size_t(name.size()));
    }

    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&record); }
};

/// Whether the same user is at the other end: everybody may take a name of this
/// table, and connect to one.
bool isOwnProcess(int connection)
{
    ucred peer = {};
    socklen_t size = sizeof peer;
    return ::getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
           peer.uid == ::geteuid();
}

Descriptor newSocket()
{
    return Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

NamedEventResult failed(int number)
{
    NamedEventResult result;
    result.code = errorFromErrno(number);
    return result;
}

NamedEventResult make(Descriptor listener, bool manualReset, bool signalled)
{
    NamedEventResult result;
    result.made = std::make_shared<NamedEvent>(manualReset, signalled, std::move(listener));
    if (result.made->error() != 0)
        return failed(result.made->error());
    result.made->arm(result.made);
    return result;
}

NamedEventResult open(Descriptor connection)
{
    if (!isOwnProcess(connection.get()))
        return failed(EACCES);
    NamedEventResult result;
    result.opened = std::make_shared<OpenedEvent>(std::move(connection));
    return result;
}

} // namespace

Descriptor::Descriptor(Descriptor &&other) noexcept : m_value(std::exchange(other.m_value, -1)) {}

Descriptor &Descriptor::operator=(Descriptor &&other) noexcept
{
    std::swap(m_value, other.m_value);
    return *this;
}

Descriptor::~Descriptor()
{
    if (m_value >= 0)
        ::close(m_value);
}

NamedEvent::NamedEvent(bool manualReset, bool signalled, Descriptor listener)
    : Event(manualReset, signalled),
      m_listener(std::move(listener)),
      m_watch(::epoll_create1(EPOLL_CLOEXEC))
{
    if (m_watch.get() < 0 || !watch(m_listener.get()))
        m_error = errno;
}

short NamedEvent::pollEvents() const
{
    return POLLIN;
}

bool NamedEvent::watch(int descriptor)
{
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    return ::epoll_ctl(m_watch.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void NamedEvent::progress()
{
    const std::lock_guard<std::mutex> lock(m_openersMutex);
    // What is not taken in this round makes the descriptor ready for the next.
    epoll_event ready[8];
    const int count = ::epoll_wait(m_watch.get(), ready, 8, 0);
    for (int i = 0; i < count; ++i) {
        if (ready[i].data.fd == m_listener.get())
            acceptOpeners();
        else
            hear(ready[i].data.fd);
    }
}

void NamedEvent::acceptOpeners()
{
    for (;;) {
        Descriptor opener(
            ::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (opener.get() < 0 && errno == EINTR)
            continue;
        if (opener.get() < 0)
            return;
        if (isOwnProcess(opener.get()) && watch(opener.get()))
            m_openers.push_back(std::move(opener));
    }
}

void NamedEvent::hear(int opener)
{
    char bytes[16];
    const ssize_t count = ::recv(opener, bytes, sizeof bytes, 0);
    if (count > 0)
        set();
    if (count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR)))
        return;
    const auto isOpener = [opener](const Descriptor &other) { return other.get() == opener; };
    m_openers.erase(std::remove_if(m_openers.begin(), m_openers.end(), isOpener), m_openers.end());
}

int OpenedEvent::signal() const
{
    for (;;) {
        if (::send(m_connection.get(), "", 1, MSG_NOSIGNAL) == 1)
            return 0;
        // A maker that does not look has been told before.
        if (errno == EAGAIN)
            return 0;
        if (errno != EINTR)
            return errno;
    }
}

NamedEventResult openNamedEvent(const QString &name, bool manualReset, bool signalled)
{
    NamedEventResult result;
    if (!name.startsWith(localPrefix)) {
        failUnsupported("CreateEventW", "names that count in all sessions");
        result.code = ErrorNotSupported;
        return result;
    }
    const Address address(name.mid(static_cast<int>(sizeof localPrefix) - 1).toUtf8() + " on " +
                          session());
    if (address.size == 0) {
        result.code = ErrorFilenameExceedsRange;
        return result;
    }
    // A name is refused for a moment between its maker's bind and listen, and
    // while its maker ends.
    constexpr int MostTries = 100;
    for (int attempt = 0; attempt < MostTries; ++attempt) {
        Descriptor socket = newSocket();
        if (::bind(socket.get(), address.get(), address.size) == 0)
            return ::listen(socket.get(), SOMAXCONN) == 0
                       ? make(std::move(socket), manualReset, signalled)
                       : failed(errno);
        if (errno != EADDRINUSE)
            return failed(errno);
        socket = newSocket();
        if (::connect(socket.get(), address.get(), address.size) == 0)
            return open(std::move(socket));
        if (errno != ECONNREFUSED)
            return failed(errno);
        ::poll(nullptr, 0, 1);
    }
    return failed(ECONNREFUSED);
}

} // namespace platform
