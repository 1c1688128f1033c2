#include "mainwindow/windowblock.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QTimer>
#include <QTimerEvent>
#include <QWidget>

namespace {

/// A timer that is stopped before the event reaches it does not time out.
void timeOutLater(QTimer *timer)
{
    if (timer->isActive())
        QCoreApplication::postEvent(timer, new QTimerEvent(timer->timerId()));
}

} // namespace

WindowBlock::WindowBlock(QWidget *window, QWidget *waiting, const QList<QTimer *> &timers)
    : m_window(window), m_waiting(waiting), m_timers(timers)
{
    while (QWidget *popup = QApplication::activePopupWidget()) {
        if (!popup->close())
            break;
    }
    qApp->installEventFilter(this);
}

WindowBlock::~WindowBlock()
{
    for (QTimer *timer : m_due)
        timeOutLater(timer);
}

void WindowBlock::takePendingInput()
{
    // One round is not enough: on Windows it only collects what the next one
    // delivers. The limit is for whatever is always due.
    constexpr int MostRounds = 100;
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    for (int round = 0; round < MostRounds; ++round) {
        if (!dispatcher->processEvents(QEventLoop::AllEvents))
            break;
    }
}

void WindowBlock::closeIfAsked()
{
    m_lasts = false;
    if (m_closeAsked)
        m_window->close();
}

bool WindowBlock::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Timer:
        return holdsBack(qobject_cast<QTimer *>(watched));
    case QEvent::ShortcutOverride:
        if (!isForWindow(watched))
            return false;
        // Accepted, it is a plain key and no shortcut.
        event->accept();
        return true;
    case QEvent::Close:
        return watched == m_window && holdsBackClosing(event);
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::Wheel:
    case QEvent::ContextMenu:
        return isForWindow(watched);
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseButtonRelease:
        return watched != m_waiting && isForWindow(watched);
    default:
        return false;
    }
}

bool WindowBlock::holdsBack(QTimer *timer)
{
    if (!m_timers.contains(timer))
        return false;
    if (!m_due.contains(timer))
        m_due.append(timer);
    return true;
}

bool WindowBlock::holdsBackClosing(QEvent *event)
{
    if (!m_lasts || qApp->isSavingSession())
        return false;
    m_closeAsked = true;
    event->ignore();
    return true;
}

bool WindowBlock::isForWindow(const QObject *receiver) const
{
    const auto *widget = qobject_cast<const QWidget *>(receiver);
    return widget && widget->window() == m_window;
}
