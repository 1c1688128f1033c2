#pragma once

#include "platform/simulated/machinesession.h"
#include "virtualphone/pluggedphone.h"

#include <QList>
#include <QString>

#include <optional>

// The USB sockets of the simulated PC, and the COM ports that the port driver
// makes of the phones in them.
namespace platform::simulated {

/// A phone, and the socket that it is plugged into.
struct PhoneOnBus : virtualphone::PluggedPhone {
    int socket = 0;
};

/// A COM port that is present now.
struct PresentPort {
    int number = 0; ///< the n of COMn
    PhoneOnBus phone;

    QString friendlyName() const;
};

/// The phones that are plugged in, by socket. A file that its phone's process
/// left behind does not count; a damaged one is reported on standard error.
QList<PhoneOnBus> phonesOnBus(const QString &directory);

/// The phones' ports, by socket: only those of phones that the port driver
/// knows of. A socket that never had a number gets one, which is saved; nothing
/// when that fails.
std::optional<QList<PresentPort>> presentPorts(MachineSession *session);

/// Plug and play notices an installed driver only for phones plugged in later:
/// those that are there now wait for a rescan.
void installPortDriver(const QString &directory, MachineState *state);

/// Looks at every phone again.
void rescanBus(MachineState *state);

/// Forgets connections whose phone is gone or has no carrier any longer, and
/// saves that. When it cannot be saved: false, and they are forgotten in this
/// session only.
bool dropDeadConnections(MachineSession *session);

} // namespace platform::simulated
