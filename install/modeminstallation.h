#pragma once

#include "platform/setupapi.h"

// The root-enumerated modem device on the phone's COM port. Worker thread; a
// driver installation may take minutes.

/// Creates a device with the hardware id, attaches it to the port and
/// installs the INF's driver on it. hardwareId is a writable multi-string with
/// room for its second NUL; rebootRequired may be null.
bool InstallRootEnumeratedDriver(platform::WCHAR *hardwareId, const platform::WCHAR *infPath,
                                 const platform::WCHAR *portName, platform::BOOL *rebootRequired);

/// Registers a new device and writes the port name as "AttachedTo" into its
/// driver key.
bool RegisterModem(platform::HDEVINFO set, platform::DeviceInfoData *device,
                   const platform::WCHAR *portName);

/// UpdateDriverForPlugAndPlayDevicesW, bound for this one call. Ends the
/// process with a fatal box when "newdev.dll" is missing.
platform::BOOL UpdateDriverForPlugAndPlayDevicesLoader(platform::HWND parent,
                                                       const platform::WCHAR *hardwareId,
                                                       const platform::WCHAR *infPath,
                                                       platform::DWORD flags,
                                                       platform::BOOL *rebootRequired);
