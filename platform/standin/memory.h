#pragma once

namespace platform {

struct Platform;

/// The process heap and the local heap over the C library's. There is one heap;
/// a handle to any other is refused.
void provideMemory(Platform *platform);

} // namespace platform
