#pragma once

namespace platform {

struct Platform;

/// No process can hand such a right on here (50): whether a window may come to
/// the front is the window manager's to say.
void provideForeground(Platform *platform);

} // namespace platform
