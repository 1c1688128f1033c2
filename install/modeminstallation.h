#pragma once

#include "platform/setupapi.h"

// The root-enumerated modem device on the phone's COM port. Worker thread; a
// driver installation may take minutes.

/// Creates a device with the hardware id, attaches it to the port and installs
/// the INF's driver on it. hardwareId must be writable and have room for a
/// second NUL after its end; rebootRequired may be null. False when a registered
/// device was removed again or the INF's class cannot be used; a device that
/// could not be created or named counts as success.
bool InstallRootEnumeratedDriver(platform::WCHAR *hardwareId, const platform::WCHAR *infPath,
                                 const platform::WCHAR *portName, platform::BOOL *rebootRequired);

/// Registers a new device and writes the port name as "AttachedTo" into its
/// driver key. False when the system refused or the key exists already; a value
/// that could not be written counts as success.
bool RegisterModem(platform::HDEVINFO set, platform::DeviceInfoData *device,
                   const platform::WCHAR *portName);

/// Calls UpdateDriverForPlugAndPlayDevicesW of "newdev.dll", which it loads and
/// frees again, and returns its result with the thread's last error. Ends the
/// process with a fatal box when the library is missing.
platform::BOOL UpdateDriverForPlugAndPlayDevicesLoader(platform::HWND parent,
                                                       const platform::WCHAR *hardwareId,
                                                       const platform::WCHAR *infPath,
                                                       platform::DWORD flags,
                                                       platform::BOOL *rebootRequired);
