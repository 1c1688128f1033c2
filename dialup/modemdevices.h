#pragma once

#include <QStringList>

/// The RAS modem devices that are the phone's GPRS modem, sorted ascending;
/// may be empty. Ends the process with a fatal box when the system's list
/// cannot be read. Any thread.
QStringList GetRasDevices();
