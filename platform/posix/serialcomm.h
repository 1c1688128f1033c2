#pragma once

#include "platform/posix/kernelobjects.h"
#include "platform/types.h"

#include <functional>
#include <memory>

class QString;

namespace platform {

/// Finds the device node of COMn. Success and its path in *node; otherwise the
/// code with which opening the port fails (2 missing, 5 in use). Any thread.
using DeviceNodeForPort = std::function<DWORD(int number, QString *node)>;

/// COM ports over serial devices. Handles that are not open answer error 6.
/// Any thread.
void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const DeviceNodeForPort &deviceNodeForPort);

} // namespace platform
