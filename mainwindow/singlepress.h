#pragma once

#include <QList>
#include <QObject>

class QAbstractButton;

/// Makes a double click count once on buttons that share one place: what one
/// press does may replace the button, and the next press would reach the one
/// that took its place. A press counts when the time of a double click has
/// passed since the last one on any of the buttons. Keys are left alone. GUI
/// thread.
class SinglePress : public QObject
{
public:
    /// The buttons must have the same owner as this, or live longer.
    SinglePress(const QList<QAbstractButton *> &buttons, QObject *parent);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_pressed = false;
    quint64 m_lastPress = 0; ///< in the display's milliseconds
};
