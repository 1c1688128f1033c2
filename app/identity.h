#pragma once

#include <QString>

/// Names the organisation and the application and chooses where settings lie:
/// INI files, the system-wide one in `settings/` beside the executable. Call
/// once, right after the application object was made and before the first
/// settings object.
void setApplicationIdentity();

/// The folder of the executable, without a separator at its end. The same while
/// the program ends, when the application object no longer tells: a set-up step
/// may still be running then. setApplicationIdentity() takes it. Any thread.
QString applicationFolder();
