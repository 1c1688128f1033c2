#pragma once

#include "platform/types.h"

// The phone's driver packages in the folder "drivers" beside the executable.
// Any thread; nothing touches a widget.

/// Units of a path buffer: 260 characters and the terminating NUL.
inline constexpr int PathBufferSize = 261;

/// Set-up step: starts the port driver's installer and copies the modem INF
/// into the system's INF store, once ("isINFSetupDone").
bool SetupAllInfs();

/// Starts `drivers\InstallDriver.exe -a` and does not wait for it; true when
/// the process was created.
bool RunDriverInstaller();

/// Writes the full path of the modem INF that fits the system into a
/// zero-filled buffer of PathBufferSize characters.
void GetModemINFLocation(platform::WCHAR *buffer);

/// The Windows release as a small number: a base code plus 20 on x64 or 40 on
/// Itanium; 0 for a release that the driver packages do not know.
int GetWindowsVersionCode();

/// Copies one INF into the system's INF store.
bool CopyInf(const platform::WCHAR *infPath);
