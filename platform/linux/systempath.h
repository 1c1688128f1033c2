#pragma once

#include <QString>

namespace platform::linuxsystem {

/// The file behind a path in the manner of Windows: its separators turned
/// back. A folder whose own name holds a backslash cannot be named this way.
inline QString systemPath(QString path)
{
    return path.replace('\\', '/');
}

} // namespace platform::linuxsystem
