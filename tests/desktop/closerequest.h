#pragma once

#include <QString>

/// Asks the window manager of a display to close a window as its title bar's button
/// does, by _NET_CLOSE_WINDOW: this window, whichever has the keyboard by then. It
/// may stay. Throws NotAsExpected when there is no such display or window.
void requestClose(const QString &display, const QString &window);
