#include "virtualphone/pseudoterminal.h"

#include <QFile>
#include <QSocketNotifier>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace virtualphone {

Pseudoterminal::Pseudoterminal(QObject *parent)
    : QObject(parent), m_openings([this] { return !isHungUp(); })
{
    m_openingTimer.setInterval(20);
    connect(&m_openingTimer, &QTimer::timeout, this, &Pseudoterminal::checkOpened);
}

Pseudoterminal::~Pseudoterminal()
{
    close();
}

bool Pseudoterminal::open(QString *error)
{
    close();
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char name[64];
    termios settings{};
    if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0 ||
        ptsname_r(m_master, name, sizeof name) != 0 || tcgetattr(m_master, &settings) != 0) {
        *error = QString("cannot make a pseudo-terminal: %1")
                     .arg(QString::fromLocal8Bit(strerror(errno)));
        close();
        return false;
    }
    // Set through the master, these are the slave's settings.
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    tcsetattr(m_master, TCSANOW, &settings);
    m_slaveName = QFile::decodeName(name);

    m_notifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    m_notifier->setEnabled(false);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { readOnce(); });

    if (m_openings.start(m_slaveName)) {
        m_openingNotifier =
            new QSocketNotifier(m_openings.descriptor(), QSocketNotifier::Read, this);
        connect(m_openingNotifier, &QSocketNotifier::activated, this, [this] {
            noticeReopening();
            checkOpened();
        });
    }
    m_isReceiving = true;
    watchForOpening();
    return true;
}

void Pseudoterminal::close()
{
    if (m_master < 0)
        return;
    m_openingTimer.stop();
    // Deleted later: one of them may be what calls this.
    for (QSocketNotifier *notifier : {m_notifier, m_openingNotifier}) {
        if (notifier) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
    }
    m_notifier = nullptr;
    m_openingNotifier = nullptr;
    m_openings.stop();
    ::close(m_master);
    m_master = -1;
    m_slaveName.clear();
    m_isInUse = false;
}

bool Pseudoterminal::isTerminalReady() const
{
    termios settings{};
    return tcgetattr(m_master, &settings) != 0 || cfgetospeed(&settings) != B0;
}

int Pseudoterminal::write(const QByteArray &bytes)
{
    if (m_master < 0)
        return 0;
    const ssize_t written = ::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
    return written < 0 ? 0 : static_cast<int>(written);
}

int Pseudoterminal::openSlave() const
{
    return ioctl(m_master, TIOCGPTPEER, O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

void Pseudoterminal::withSlave(const std::function<void(int)> &use)
{
    m_openings.beginOwnOpening();
    const int slave = openSlave();
    if (slave < 0)
        return;
    use(slave);
    ::close(slave);
    m_openings.endOwnOpening();
}

Pseudoterminal::Unread Pseudoterminal::unread()
{
    if (m_master < 0)
        return Unread::No;
    // Only the slave can tell. poll() first makes the system deliver what it
    // still holds back.
    int count = 0;
    bool isKnown = false;
    withSlave([&](int slave) {
        pollfd waiting{slave, POLLIN, 0};
        ::poll(&waiting, 1, 0);
        isKnown = ioctl(slave, FIONREAD, &count) == 0;
    });
    if (!isKnown)
        return Unread::Unknown;
    return count > 0 ? Unread::Yes : Unread::No;
}

void Pseudoterminal::setReceiving(bool isReceiving)
{
    m_isReceiving = isReceiving;
    if (m_notifier)
        m_notifier->setEnabled(m_isInUse && m_isReceiving);
}

void Pseudoterminal::readOnce()
{
    char buffer[4096];
    const ssize_t count = ::read(m_master, buffer, sizeof buffer);
    if (count > 0) {
        m_openings.updateAfterBytes();
        // What came since may be from who opened the port anew.
        noticeReopening();
        emit received(QByteArray(buffer, static_cast<int>(count)));
    } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
        m_openings.update();
        m_openings.forgetClosing(); // this is the one
        setInUse(false);
    }
}

void Pseudoterminal::setInUse(bool isInUse)
{
    if (m_isInUse == isInUse)
        return;
    m_isInUse = isInUse;
    m_notifier->setEnabled(m_isInUse && m_isReceiving);
    if (m_isInUse)
        m_openingTimer.stop();
    emit inUseChanged();
    if (m_master >= 0 && !m_isInUse)
        watchForOpening();
}

void Pseudoterminal::watchForOpening()
{
    // Opening and closing the slave once drops what the PC has not read. It also
    // makes a fresh pair look like a port that was closed: before its first
    // opening the master reports no hang-up.
    withSlave([](int slave) { tcflush(slave, TCIFLUSH); });
    if (m_openings.descriptor() < 0)
        m_openingTimer.start();
    checkOpened();
}

bool Pseudoterminal::isHungUp() const
{
    pollfd state{m_master, POLLIN, 0};
    ::poll(&state, 1, 0);
    return state.revents & POLLHUP;
}

void Pseudoterminal::noticeReopening()
{
    m_openings.update();
    // While it is still closed, reading finds the hang-up, after the last data.
    if (!m_isInUse || !m_openings.wasClosed() || isHungUp())
        return;
    m_openings.forgetClosing();
    setInUse(false);
}

void Pseudoterminal::checkOpened()
{
    if (m_master < 0 || m_isInUse)
        return;
    pollfd state{m_master, POLLIN, 0};
    ::poll(&state, 1, 0);
    // Data together with a hang-up: the PC has opened the port, sent something
    // and closed it again. Reading takes the data and then finds the hang-up.
    if (!(state.revents & POLLHUP) || (state.revents & POLLIN))
        setInUse(true);
}

} // namespace virtualphone
