#pragma once

#include "platform/ras.h"
#include "platform/standin/devices.h"

#include <QJsonObject>
#include <QString>

#include <sys/types.h>

// What the window asks the helper for. Each function makes a request; service.cpp
// takes it.
namespace platform::linuxsystem {

/// Runs the driver package's installer and does not wait for it.
QJsonObject installDriverRequest();

/// Lets udev look at every line again; done when udev is.
QJsonObject rescanRequest();

/// Adds a file of the driver package to the INF store under that name.
QJsonObject storeInfRequest(const QString &name, const QByteArray &content);

/// Replaces the registered devices; 1237 when they are not what the caller saw.
QJsonObject changeDevicesRequest(const DeviceList &seen, const DeviceList &wanted);

/// Puts the list of what is set up aside, if it is damaged.
QJsonObject putStateAsideRequest();

/// Makes or replaces an entry of the user's own.
QJsonObject writeEntryRequest(const QString &name, const RasEntry &entry);

/// Dials. The entry is given by its file name; the device is the one that the
/// window has found for it, and another than the entry's own is refused.
QJsonObject dialRequest(const QString &entry, const QString &device, const QString &number);

/// Stores what a network that wants a name and a password gets for the user.
QJsonObject signInRequest(const QString &name, const QString &password);

/// Makes ModemManager let go of a phone's line: 5 when somebody else holds it,
/// with the name of the program in "holder" if it can be known.
QJsonObject freeLineRequest(const QString &device);

/// Ends the link of that process.
QJsonObject hangUpRequest(pid_t process);

} // namespace platform::linuxsystem
