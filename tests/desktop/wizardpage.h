#pragma once

#include "tests/desktop/desktop.h"

/// Whether that is the colour of black writing.
bool isInk(QRgb colour);

/// The page of the set-up wizard, without its heading and its buttons.
QRect wizardPage(const Desktop &desktop, const WindowId &window);

/// Waits for Retry on that page and presses it, wherever the text above has pushed it.
void pressRetry(const Desktop &desktop, const WindowId &window);
