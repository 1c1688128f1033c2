#pragma once

#include "platform/posix/event.h"
#include "platform/standin/handletable.h"

#include <memory>

namespace platform {

struct Platform;

/// What CloseHandle can close: the open ports, events and processes of one
/// platform. The families that make such objects share it.
using Handles = HandleTable<KernelObject>;

/// Events and handles. Handles that are not open answer error 6. A named event is
/// its maker's alone to wait for (6), and goes with it; in its name "Local\" means
/// the display that the user sits at. Any thread.
void provideKernelObjects(Platform *platform, const std::shared_ptr<Handles> &handles);

} // namespace platform
