#pragma once

#include <QString>

/// Writes the APN into the modem on COM<portNumber> and, when the port could
/// be used, dials the entry. True only when a connection was made. GUI thread;
/// blocks until the dial dialog is closed.
bool setApnAndDial(QString entryName, int portNumber, QString apn);

/// Shows the system's dial dialog for a phone-book entry; true when it made a
/// connection. GUI thread.
bool dialConnection(QString entryName);
