#pragma once

#include <QString>

namespace platform::linuxsystem {

/// Whether nobody but root, and the user of this process, can change a file or
/// make another in its place: neither the file nor a folder above it is open to
/// others or a link. A file that does not exist must be impossible for others to
/// make. The path is absolute. Any thread.
bool isOnlyRoots(const QString &path);

} // namespace platform::linuxsystem
