#pragma once

#include <QString>
#include <QVector>

#include <functional>

namespace virtualphone {

/// Watches a device node being opened and closed, as the file system tells it.
/// A pseudo-terminal's master alone does not see a slave that is closed and at
/// once opened again.
class OpeningWatch
{
public:
    OpeningWatch() = default;
    ~OpeningWatch();
    OpeningWatch(const OpeningWatch &) = delete;
    OpeningWatch &operator=(const OpeningWatch &) = delete;

    /// Starts watching a node that nobody has open. `openAndClose` opens it once
    /// and closes it: what the file system tells of that is never counted. False
    /// when the file system tells nothing.
    bool start(const QString &node, const std::function<void()> &openAndClose);
    void stop();

    /// Readable when something has happened; -1 when not started.
    int descriptor() const { return m_descriptor; }

    /// Around an opening of one's own, which is not counted.
    void beginOwnOpening();
    void endOwnOpening();

    /// Whether the last opening was closed since the last call, even if there is
    /// a new one by now.
    bool takeClosing();

private:
    QVector<bool> takeEvents(); // true: opened
    void count(const QVector<bool> &events);

    int m_descriptor = -1;
    int m_ownOpenings = 0; // events that an opening of one's own makes
    int m_ownClosings = 0;
    int m_openings = 0;
    bool m_wasClosed = false;
};

} // namespace virtualphone
