#pragma once

#include <QString>
#include <QVector>

#include <functional>
#include <optional>

namespace virtualphone {

/// Watches a device node being opened and closed, as the file system tells it.
/// A pseudo-terminal's master alone does not see a slave that is closed and at
/// once opened again. The file system makes one event of several that are the
/// same, so what the master sees corrects the count; and it tells of an opening a
/// moment after the master sees it.
class OpeningWatch
{
public:
    /// `isOpen` tells what the master sees.
    explicit OpeningWatch(std::function<bool()> isOpen);
    ~OpeningWatch();
    OpeningWatch(const OpeningWatch &) = delete;
    OpeningWatch &operator=(const OpeningWatch &) = delete;

    /// Starts watching a node that nobody has open; the first opening is then to
    /// be one's own. False when the file system tells nothing.
    bool start(const QString &node);
    void stop();

    /// Readable when something has happened; -1 when not started.
    int descriptor() const { return m_descriptor; }

    /// Around an opening of one's own, for reading only, which is not counted.
    void beginOwnOpening();
    void endOwnOpening();

    /// Takes in what has happened since.
    void update();

    /// The same after bytes came through the node. Whoever sent them had opened it, and
    /// that has been told by now, if only as one with an opening of one's own.
    void updateAfterBytes();

    /// Whether the last opening was closed since forgetClosing(), even if there
    /// is a new one by now. As of the last update.
    bool wasClosed() const { return m_wasClosed; }
    void forgetClosing() { m_wasClosed = false; }

private:
    enum class Event { Opened, ClosedForReading, Closed };
    QVector<Event> takeEvents();
    void count(const QVector<Event> &events, bool wasOpen);

    const std::function<bool()> m_isOpen;
    int m_descriptor = -1;
    std::optional<bool> m_tellsOwnOpenings; // differs between kernels
    int m_openings = 0;
    bool m_isAssumed = false; // one of them was seen by the master; it may be told yet
    bool m_wasClosed = false;
};

} // namespace virtualphone
