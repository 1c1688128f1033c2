#pragma once

/// Keeps a copy of the user's settings file when a part of it cannot be read:
/// the next write would drop that part. The copy lies beside the file and has
/// its name with ".damaged" and a number. A warning on the debug stream names
/// it, or says that the file could not be copied. Does nothing when the file
/// is sound or missing, or when a copy of the same content exists. Call once
/// at the start, before anything is written. GUI thread.
void preserveDamagedSettings();
