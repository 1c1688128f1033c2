#pragma once

#include <QObject>

class QKeyEvent;

/// Sees to it that a key which is held down acts once: Enter and Space on buttons,
/// in dialogs and on links, and shortcuts. Otherwise Enter would press Retry, which
/// starts an installer, or open the browser, some twenty times a second. Lists and
/// menus still move on. For the whole application, which must be there before it and
/// stay longer. GUI thread.
class HeldKeys : public QObject
{
public:
    HeldKeys();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool isRepetition(const QKeyEvent *event) const;

    int m_releasedKey = 0;
    quint64 m_released = 0; ///< when, in the display's milliseconds
};
