#include "platform/platform.h"

#include <QtGlobal>

#include <atomic>

namespace platform {

namespace {
std::atomic<Platform *> currentBackend{nullptr};
}

Platform &current()
{
    Platform *backend = currentBackend.load(std::memory_order_acquire);
    if (!backend)
        qFatal("no platform backend was chosen before its first use");
    return *backend;
}

void setCurrent(Platform *backend)
{
    currentBackend.store(backend, std::memory_order_release);
}

} // namespace platform
