#pragma once

namespace platform {

struct Platform;

/// No object has rights of its own here (50).
void provideSecurity(Platform *platform);

} // namespace platform
