#pragma once

#include "platform/types.h"

// The modem's COM port and the exchange of AT commands over it. GUI thread.
// Nothing here has a time-out: while the modem does not answer, the caller
// waits.

/// The result of opening the modem's port.
enum class ModemPortState {
    Ready,       ///< open and configured
    Failed,      ///< not opened, or not configured
    NoEventMask, ///< open and configured, but its events cannot be waited for
};

/// The modem's port as openModemPort left it.
struct ModemPort {
    ModemPortState state;
    /// The port's handle. The caller closes it when the state is Ready and
    /// leaves it as it is in the other states.
    platform::HANDLE handle;
};

/// What waitForResponse heard.
enum ModemResponse {
    ResponseOk = 0,         ///< "OK"
    ResponseNoEvent = 1,    ///< an event object could not be created
    ResponseWaitFailed = 2, ///< waiting failed
    ResponseError = 10,     ///< "ERROR"
};

/// Opens COM<portNumber> and sets it to 9600 baud 8N1 with reads that return
/// at once. Every failure is logged with the system's error code.
ModemPort openModemPort(int portNumber);

/// Sends a zero-terminated command without its terminator and waits until it
/// is written. False when it could not be sent.
bool writeCommand(platform::HANDLE port, const char *command);

/// Waits until the modem sends a chunk that is exactly "\r\nOK\r\n" or
/// "\r\nERROR\r\n"; everything else is printed and skipped. Returns a
/// ModemResponse.
int waitForResponse(platform::HANDLE port);
