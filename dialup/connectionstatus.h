#pragma once

#include <QString>

// The system's active dial-up connections, looked up by entry name. GUI thread.

/// True while a connection of exactly that entry name is active; false also
/// when the connections cannot be listed or are more than 100.
bool isDialupConnectionConnected(QString connName);

/// Ends the first active connection of that entry name, without waiting until
/// it is down. False when there is none or it cannot be ended.
bool hangUpDialupConnection(QString connName);
