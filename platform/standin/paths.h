#pragma once

#include <QString>

namespace platform {

/// The file behind a path in the manner of Windows: its separators turned
/// back. A folder whose own name holds a backslash cannot be named this way.
inline QString systemPath(QString path)
{
    return path.replace('\\', '/');
}

/// The same path as the program expects to be told it.
inline QString windowsPath(QString path)
{
    return path.replace('/', '\\');
}

} // namespace platform
