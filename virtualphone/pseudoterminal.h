#pragma once

#include "virtualphone/openingwatch.h"

#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class QSocketNotifier;

namespace virtualphone {

/// The phone's end of its serial line: the master of a pseudo-terminal whose
/// slave, a raw line without echo, is what the PC opens as the modem's port.
///
/// This side does not hold the slave open, so it can tell when the PC opens and
/// closes its port. While the port is closed nothing wakes this process: the
/// file system reports the next opening.
class Pseudoterminal : public QObject
{
    Q_OBJECT

public:
    explicit Pseudoterminal(QObject *parent = nullptr);
    ~Pseudoterminal() override;

    /// Makes a new pair. False with a message when the system has none.
    bool open(QString *error);

    /// Ends the line: whoever has the slave open sees a hang-up.
    void close();

    bool isOpen() const { return m_master >= 0; }
    const QString &slaveName() const { return m_slaveName; }

    /// Whether the PC has its port open.
    bool isInUse() const { return m_isInUse; }

    /// Whether the PC holds its data terminal ready line. A pseudo-terminal has
    /// no such line, but the rate that lets it go, 0, can be seen.
    bool isTerminalReady() const;

    /// Sends towards the PC. Returns how many bytes were taken, 0 when the
    /// line is full or closed.
    int write(const QByteArray &bytes);

    enum class Unread {
        No,
        Yes,
        Unknown, ///< the PC has claimed its port for itself alone
    };

    /// Whether the PC has yet to read something that was sent.
    Unread unread();

    /// Stops and resumes receiving. While it is stopped, a PC that goes on
    /// sending is held up by the line and does not fill this process's memory.
    void setReceiving(bool isReceiving);

signals:
    /// Bytes came from the PC; the slot may close the line.
    void received(const QByteArray &bytes);

    /// The PC opened its port, or closed it. What it had not read before it
    /// closed the port is gone: a port that is opened again starts empty.
    void inUseChanged();

private:
    int openSlave() const;
    void withSlave(const std::function<void(int)> &use);
    bool isHungUp() const;
    void noticeReopening();
    void readOnce();
    void checkOpened();
    void setInUse(bool isInUse);
    void watchForOpening();

    int m_master = -1;
    OpeningWatch m_openings;
    QString m_slaveName;
    bool m_isInUse = false;
    bool m_isReceiving = true;
    QSocketNotifier *m_notifier = nullptr;
    QSocketNotifier *m_openingNotifier = nullptr;
    QTimer m_openingTimer; // used when the file system reports no openings
};

} // namespace virtualphone
