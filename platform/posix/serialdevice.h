#pragma once

#include "platform/serialcomm.h"

// A terminal device used as a COM port: exclusive, raw, never blocking.
namespace platform {

/// Opens a device node for one user alone; what it received before is gone.
/// The descriptor (close-on-exec, non-blocking, raw mode) is the caller's until
/// closeSerialDevice(); -1 with the Windows code in *error: 2 when there is no
/// such device, 5 when it is open elsewhere or may not be opened.
int openSerialDevice(const char *node, DWORD *error);

/// Gives the device back.
void closeSerialDevice(int descriptor);

/// Whether the line has been hung up: the device was unplugged, or the other
/// end of a pseudo-terminal is gone.
bool isHungUp(int descriptor);

/// Bytes that can be read at once; 0 also for a device that is gone.
DWORD inputWaiting(int descriptor);

/// The line settings; Success or an error code.
DWORD readLineSettings(int descriptor, DeviceControlBlock *settings);

/// Applies line settings and leaves alone what they do not name; Success, 87
/// for what the device cannot do, 50 for flags without a counterpart here.
DWORD applyLineSettings(int descriptor, const DeviceControlBlock &settings);

} // namespace platform
