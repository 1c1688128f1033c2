#pragma once

#include "platform/posix/kernelobjects.h"
#include "platform/types.h"

#include <functional>
#include <memory>

class QString;

namespace platform {

/// The device node behind COMn: Success and its path in *node, else the code
/// that opening the port fails with (2 missing, 5 in use). Any thread.
using DeviceNodeForPort = std::function<DWORD(int number, QString *node)>;

/// COM ports over serial devices. Handles that are not open answer error 6.
/// Any thread.
void provideSerialComm(Platform *platform, const std::shared_ptr<Handles> &handles,
                       const DeviceNodeForPort &deviceNodeForPort);

} // namespace platform
