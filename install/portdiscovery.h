#pragma once

#include <QList>

/// The COM port numbers of the present modem ports, in the system's order;
/// empty on any failure. Any thread.
QList<int> GetModemPorts();

/// Looks for the modem and writes its port number, or 0 when there is none,
/// to "CurrentPort". True when a port was found. Any thread.
bool SetCurrentPortSettings();
