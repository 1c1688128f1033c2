#pragma once

#include <QString>

/// Writes the APN into the modem on COM<portNumber>. If the port could be used,
/// dials the entry as dialConnection does. True only when a connection was
/// made. GUI thread; blocks until the dial dialog is closed.
bool setApnAndDial(QString entryName, int portNumber, QString apn);

/// Shows the system's dial dialog for a phone-book entry; true when it made a
/// connection. A name of more than 199 UTF-16 units is cut off, so the system
/// does not find its entry. GUI thread.
bool dialConnection(QString entryName);

/// Whether the last dial failed because the system has no such entry, or none that
/// is good for anything: a new set-up makes one. GUI thread.
bool isDialupEntryMissing();
