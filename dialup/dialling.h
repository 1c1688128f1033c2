#pragma once

#include <QString>

/// Writes the APN into the modem on COM<portNumber> and, when the port could
/// be used, dials the entry as dialConnection does. True only when a connection
/// was made. GUI thread; blocks until the dial dialog is closed.
bool setApnAndDial(QString entryName, int portNumber, QString apn);

/// Shows the system's dial dialog for a phone-book entry; true when it made a
/// connection. A name of more than 199 UTF-16 units is cut off there, so that
/// its entry will not be found. GUI thread.
bool dialConnection(QString entryName);
