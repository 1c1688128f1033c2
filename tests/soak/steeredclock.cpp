#include "tests/soak/steeredclock.h"

#include "mainwindow/mainwindow.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QTimer>
#include <QTimerEvent>

namespace soak {

void SteeredClock::pass(int milliseconds)
{
    const qint64 end = m_now + milliseconds;
    takeOver();
    for (int id = 0; (id = nextUntil(end)) != 0; takeOver()) {
        m_now = std::max(m_now, m_running[id].due);
        QTimer *timer = m_running[id].timer;
        m_running[id].due = m_now + timer->interval();
        QTimerEvent event(id);
        QCoreApplication::sendEvent(timer, &event);
        QCoreApplication::processEvents();
    }
    m_now = std::max(m_now, end);
}

/// From now on no real time lets the windows' timers time out. They do not notice:
/// a timer that is stopped tells the toolkit so, which knows it no longer.
void SteeredClock::takeOver()
{
    for (auto it = m_running.begin(); it != m_running.end();)
        it = isRunning(it.key()) ? std::next(it) : m_running.erase(it);
    QAbstractEventDispatcher *toolkit = QAbstractEventDispatcher::instance();
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (!qobject_cast<const MainWindow *>(window))
            continue;
        for (QTimer *timer :
             window->findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
            if (timer->isActive() && !m_running.contains(timer->timerId())) {
                toolkit->unregisterTimer(timer->timerId());
                m_running[timer->timerId()] = {timer, m_now + timer->interval()};
            }
        }
    }
}

bool SteeredClock::isRunning(int id) const
{
    const QTimer *timer = m_running[id].timer;
    return timer && timer->timerId() == id;
}

/// The timer that is due first, until then; 0 when there is none.
int SteeredClock::nextUntil(qint64 end) const
{
    int next = 0;
    for (auto it = m_running.begin(); it != m_running.end(); ++it) {
        if (it->due <= end && (next == 0 || it->due < m_running[next].due))
            next = it.key();
    }
    return next;
}

} // namespace soak
