#include "mainwindow/singlepress.h"

#include <QAbstractButton>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QStyleHints>

SinglePress::SinglePress(const QList<QAbstractButton *> &buttons, QObject *parent) : QObject(parent)
{
    for (QAbstractButton *button : buttons)
        button->installEventFilter(this);
}

bool SinglePress::eventFilter(QObject *watched, QEvent *event)
{
    const bool doubleClick = event->type() == QEvent::MouseButtonDblClick;
    if (!doubleClick && event->type() != QEvent::MouseButtonPress)
        return QObject::eventFilter(watched, event);
    // The display's own time: the window may have been blocked meanwhile.
    const quint64 now = static_cast<QMouseEvent *>(event)->timestamp();
    const auto interval =
        static_cast<quint64>(QGuiApplication::styleHints()->mouseDoubleClickInterval());
    const bool tooSoon = m_pressed && now - m_lastPress < interval;
    m_pressed = true;
    m_lastPress = now;
    // A double click whose first half went elsewhere is no press either.
    return tooSoon || doubleClick;
}
