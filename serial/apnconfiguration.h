#pragma once

#include <QString>

/// Writes the access point name into the first packet-data context of the
/// modem on COM<portNumber>. True once the port was opened and its line
/// settings applied, whatever the modem answered; false when that failed.
/// GUI thread; blocks until the modem has answered twice.
bool configureModemApn(int portNumber, const QString &apn);
