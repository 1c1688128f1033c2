#pragma once

#include <QSettings>

/// Keeps a copy of the settings' own file, the user's by default, when a part of
/// it cannot be read: the next write would drop that part. The copy lies beside
/// the file and has its name with ".damaged" and a number. A warning on the debug
/// stream names it, or says that the file could not be copied. Does nothing when
/// the file is sound or missing, or when a copy of the same content exists. Call
/// it before anything is written. GUI thread.
void preserveDamagedSettings(const QSettings &settings = QSettings());
