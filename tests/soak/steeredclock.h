#pragma once

#include <QMap>
#include <QPointer>

class QTimer;

namespace soak {

/// The time by which the timers of the main windows run. It stands still until it
/// is told to pass. The toolkit's own timers, such as a blinking cursor's, keep to
/// the real time. GUI thread.
class SteeredClock
{
public:
    /// Lets the time pass, and every timer that is due time out, in order. May be
    /// called while it passes, for a call that takes its time.
    void pass(int milliseconds);

    /// Milliseconds since the beginning.
    qint64 now() const { return m_now; }

    /// How many timers run. Call it when nothing has happened since pass().
    int runningTimers() const { return static_cast<int>(m_running.size()); }

private:
    struct Running {
        QPointer<QTimer> timer;
        qint64 due;
    };

    void takeOver();
    bool isRunning(int id) const;
    int nextUntil(qint64 end) const;

    qint64 m_now = 0;
    QMap<int, Running> m_running; // by the number that the toolkit gave it
};

} // namespace soak
