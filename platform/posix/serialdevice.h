#pragma once

#include "platform/serialcomm.h"

// A terminal device used as a COM port: exclusive, raw, never blocking.
namespace platform {

/// Opens a device node exclusively, and throws away what it received before.
/// The descriptor (close-on-exec, non-blocking, raw mode) is the caller's until
/// closeSerialDevice(); -1 with the Windows code in *error: 2 when there is no
/// such device, 5 when it is open elsewhere or may not be opened.
int openSerialDevice(const char *node, DWORD *error);

/// Gives the device back.
void closeSerialDevice(int descriptor);

/// Whether the line has been hung up: the device was unplugged, or the other
/// end of a pseudo-terminal is gone.
bool isHungUp(int descriptor);

/// How many bytes can be read without waiting; 0 also when the device is gone.
DWORD inputWaiting(int descriptor);

/// The line settings; Success or an error code.
DWORD readLineSettings(int descriptor, DeviceControlBlock *settings);

/// Applies line settings and changes nothing else. Success, 87 for what the
/// device cannot do, 50 for flags that have no counterpart on this system.
DWORD applyLineSettings(int descriptor, const DeviceControlBlock &settings);

} // namespace platform
