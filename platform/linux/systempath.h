#pragma once

#include "platform/text.h"

namespace platform {

/// The file behind a path in the manner of Windows: its separators turned
/// back. A folder whose own name holds a backslash cannot be named this way.
inline QString systemPath(const WCHAR *path)
{
    return fromWide(path).replace('\\', '/');
}

} // namespace platform
