#pragma once

class QWidget;

/// Brings the program to the front, as far as the system allows it: what the
/// user last had to deal with is in front afterwards. That is the wizard while
/// it is open, and a box or a dialog of its own over the window. Minimised
/// windows are restored. GUI thread.
void bringToFront(QWidget *mainWindow);
