#pragma once

#include "install/portdiscovery.h"

// The set-up steps of this folder for callers that know nothing of the
// platform layer: these three and SetCurrentPortSettings. Each may take
// minutes and touches no widget. Any thread, one step at a time.

/// Starts the port driver's installer and copies the modem INF into the
/// system's INF store, once ("isINFSetupDone"). False when one of the two
/// failed; the next call then repeats both.
bool SetupAllInfs();

/// Rescans the device tree from its root, so that a phone that is plugged in
/// already gets the new drivers. False when the system refused.
bool ReScanDriver();

/// Looks for the phone's port, creates the modem device on it and installs the
/// device's driver. Without a port the device is attached to COM0. False when it
/// failed; a device that could not be created or named counts as success.
bool InstallModem();
