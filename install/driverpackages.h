#pragma once

#include "platform/types.h"

// The phone's driver packages in the folder "drivers" beside the executable.
// Any thread; nothing touches a widget.

/// Units of a path buffer: 260 characters and the terminating NUL.
inline constexpr int PathBufferSize = 261;

/// Starts `drivers\InstallDriver.exe` with "InstallDriver -a" and does not wait
/// for it. True when the process was created.
bool RunDriverInstaller();

/// Writes the full path of the modem INF that fits the system into a
/// zero-filled buffer of PathBufferSize characters.
void GetModemINFLocation(platform::WCHAR *buffer);

/// Copies one INF into the system's INF store; false, with a line in the log,
/// when the system refuses.
bool CopyInf(const platform::WCHAR *infPath);
