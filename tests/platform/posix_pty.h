#pragma once

#include <QByteArray>
#include <QString>

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

/// A pseudo-terminal whose far end the test plays.
class Pty
{
public:
    Pty()
    {
        m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
            qFatal("no pseudo-terminal");
        m_node = QString::fromLocal8Bit(::ptsname(m_master));
        // Kept open so that the far end is not hung up between two openings.
        m_keeper = ::open(m_node.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios line = {};
        ::tcgetattr(m_keeper, &line);
        ::cfmakeraw(&line);
        ::tcsetattr(m_keeper, TCSANOW, &line);
    }
    ~Pty() { hangUp(); }
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    QString node() const { return m_node; }
    int master() const { return m_master; }

    void send(const QByteArray &bytes)
    {
        if (::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
            qFatal("the pseudo-terminal does not take what the test sends");
    }

    /// At least `size` bytes, or what came until nothing did for five seconds.
    QByteArray receive(int size)
    {
        QByteArray received;
        while (received.size() < size) {
            pollfd state = {m_master, POLLIN, 0};
            char buffer[4096];
            if (::poll(&state, 1, 5000) <= 0)
                break;
            const ssize_t count = ::read(m_master, buffer, sizeof buffer);
            if (count <= 0)
                break;
            received.append(buffer, static_cast<int>(count));
        }
        return received;
    }

    /// The far end goes away, as an unplugged device does.
    void hangUp()
    {
        if (m_master >= 0) {
            ::close(m_keeper);
            ::close(m_master);
        }
        m_master = -1;
    }

private:
    int m_master = -1;
    int m_keeper = -1;
    QString m_node;
};
