#pragma once

#include <libudev.h>
#include <memory>

namespace platform::linuxsystem {

struct UdevDeleter {
    void operator()(udev *context) const { udev_unref(context); }
    void operator()(udev_enumerate *enumerate) const { udev_enumerate_unref(enumerate); }
    void operator()(udev_device *device) const { udev_device_unref(device); }
    void operator()(udev_monitor *monitor) const { udev_monitor_unref(monitor); }
};

/// One reference to an object of libudev.
template<class Object> using UdevPointer = std::unique_ptr<Object, UdevDeleter>;

} // namespace platform::linuxsystem
