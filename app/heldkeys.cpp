#include "app/heldkeys.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>

namespace {

bool isPressingKey(int key)
{
    return key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Space ||
           key == Qt::Key_Select;
}

/// Whether such a key does something there.
bool isPressed(const QObject *receiver)
{
    const auto *widget = qobject_cast<const QWidget *>(receiver);
    return widget &&
           (qobject_cast<const QAbstractButton *>(widget) || qobject_cast<const QLabel *>(widget) ||
            qobject_cast<const QDialog *>(widget->window()));
}

} // namespace

HeldKeys::HeldKeys()
{
    qApp->installEventFilter(this);
}

bool HeldKeys::eventFilter(QObject *watched, QEvent *event)
{
    const QEvent::Type type = event->type();
    if (type != QEvent::KeyPress && type != QEvent::KeyRelease && type != QEvent::ShortcutOverride)
        return false;
    auto *key = static_cast<QKeyEvent *>(event);
    if (type == QEvent::KeyRelease) {
        m_releasedKey = key->key();
        m_released = key->timestamp();
        return false;
    }
    if (type == QEvent::KeyPress)
        return isPressingKey(key->key()) && isRepetition(key) && isPressed(watched);
    // The toolkit itself does the right thing with those that it knows.
    if (key->isAutoRepeat() || !isRepetition(key))
        return false;
    // Accepted, it is a plain key and no shortcut.
    key->accept();
    return true;
}

/// For a key that is held down, X reports a release and a press of one and the same
/// time. The toolkit takes them for a repetition only if both have come when it looks
/// at the first, which they often have not on a busy computer.
bool HeldKeys::isRepetition(const QKeyEvent *event) const
{
    return event->isAutoRepeat() || (event->timestamp() != 0 && event->key() == m_releasedKey &&
                                     event->timestamp() == m_released);
}
