#pragma once

#include "platform/linux/statestore.h"
#include "platform/program.h"
#include "platform/types.h"

#include <QList>
#include <QString>

namespace platform::linuxsystem {

/// A serial line that is there now.
struct SerialPortDevice {
    QString kernelName; ///< "ttyACM0"
    QString node;       ///< "/dev/ttyACM0"
    QString stableNode; ///< the rule's link, or the node for a line without one
    QString identity;   ///< the same for the same device in every socket
    QString product;    ///< what the device calls itself; may be empty
    bool isPhoneModem = false;
    int number = 0; ///< the n of COMn
};

/// What a port is called, with its number as in "Communications Port (COM1)":
/// a phone's modem port as the program knows it, other plugged-in lines by the
/// product's own name when that is not one by which the program knows a phone.
QString friendlyName(const SerialPortDevice &port, const Program &program);

/// Gives each port its number. A port that the numbers (identity to number)
/// know keeps it. A new on-board line ttySn takes COM(n+1) when that is free;
/// every other port takes the first free number from 5, as the first four
/// numbers belong to the on-board lines of a PC. Returns whether numbers were
/// added.
bool assignNumbers(QList<SerialPortDevice> *ports, QJsonObject *numbers);

/// The serial lines of this machine as udev knows them, in the order of their
/// numbers. New numbers are stored if possible. If not (no rights, or a full
/// disk), the same rule finds numbers again next time. Success, or 5 or 13 when
/// the store cannot be read. Any thread.
DWORD presentSerialPorts(const Program &program, StateStore *store, QList<SerialPortDevice> *ports);

/// The same without storing anything, so that nobody is waited for.
DWORD presentSerialPorts(const Program &program, const StateStore &store,
                         QList<SerialPortDevice> *ports);

} // namespace platform::linuxsystem
