#pragma once

#include "platform/text.h"
#include "serial/modemport.h"
#include "tests/support/bench.h"
#include "tests/support/stdoutcapture.h"

#include <functional>

// What the tests of the serial link share: the two answers of a modem that are
// told apart, the calls that open the port, and what is printed meanwhile.

inline const QByteArray ok = "\r\nOK\r\n";
inline const QByteArray error = "\r\nERROR\r\n";

/// How the port is opened: GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING and
/// FILE_FLAG_OVERLAPPED.
inline const QString openingCom7 =
    "CreateFileW(\"\\\\.\\COM7\", 3221225472, 0, null, 3, 1073741824, null)";

/// The other calls that open it: the mask is EV_RXCHAR | EV_TXEMPTY.
inline const QStringList configuration = {"GetCommState(0x10, &)", "SetCommState(0x10, &)",
                                          "SetCommTimeouts(0x10, &)", "SetCommMask(0x10, 5)"};

/// A manual-reset event that is not signalled.
inline const QString newEvent = "CreateEventW(null, 1, 0, null)";

/// What a function prints to standard output while it runs.
inline QByteArray printedBy(const std::function<void()> &function)
{
    const StdoutCapture capture;
    function();
    return capture.text();
}
