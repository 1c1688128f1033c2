#pragma once

#include <QList>
#include <QObject>

class QTimer;
class QWidget;

/// Stands for the time in which a window waits for a call that blocks it. The
/// call may let events through, as a dial dialog does. GUI thread.
///
/// Keys, shortcuts and clicks for the window do nothing meanwhile: they were
/// meant for the control that asks to wait. Timers that are due wait until this
/// object is gone. The window does not close, unless the session ends.
class WindowBlock : public QObject
{
public:
    /// Closes open lists and menus: they keep mouse and keyboard from every
    /// other program, and the call may not return. `waiting` is the control in
    /// the window that asks to wait.
    WindowBlock(QWidget *window, QWidget *waiting, const QList<QTimer *> &timers);
    /// Timers that were due, and still run, time out when events are next
    /// processed.
    ~WindowBlock() override;

    /// Takes the keys and clicks that came during the call. Call it when the
    /// call has returned and before the window shows anything else.
    void takePendingInput();

    /// Closes the window if somebody wanted that meanwhile.
    void closeIfAsked();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool holdsBack(QTimer *timer);
    bool holdsBackClosing(QEvent *event);
    bool isForWindow(const QObject *receiver) const;

    QWidget *m_window;
    QWidget *m_waiting;
    QList<QTimer *> m_timers;
    QList<QTimer *> m_due;
    bool m_closeAsked = false;
    bool m_lasts = true;
};
