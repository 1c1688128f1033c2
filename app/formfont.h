#pragma once

#include <QFont>
#include <QStringList>

/// The font that the forms were drawn for, "MS Shell Dlg 2" of 8.25 points, where the
/// families of this list are installed (QFontDatabase::families()). If it is not among
/// them, the first one of a few narrow fonts is made its substitute for the whole program,
/// so that no text outgrows the forms' fixed geometry; without any of them the font is
/// made narrower. GUI thread.
QFont formFont(const QStringList &installed);

/// Makes the form font of this machine the application's font. Call once, after the
/// application object was made.
void useFormFont();
