#pragma once

#include <QString>

/// Asks the display, as one more program there, for the whole mouse and the
/// whole keyboard, and gives them back at once. False when it gets neither or
/// only one, because another program keeps them. Throws NotAsExpected when there
/// is no such display.
bool canGrabInput(const QString &display);
