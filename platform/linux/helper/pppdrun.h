#pragma once

#include <QString>

namespace platform::linuxsystem {

/// Runs pppd for an entry until its link has an address, and pppd goes on by
/// itself, or cannot come up. Each line of pppd's goes to `output` as
/// {"line":"…"}; a long one is cut. At the end comes {"code":0,"status":N} with
/// pppd's exit status, 1 when it was killed, and with "holder" when another
/// program has the line, or {"code":711} or {"code":5} when it
/// cannot be started. Whatever comes on `input`, or its end, stops the dial: pppd
/// is told to end, and killed when it does not within eight seconds.
void runPppd(const QString &pppd, const QString &peer, const QString &device, const QString &number,
             int input, int output);

} // namespace platform::linuxsystem
