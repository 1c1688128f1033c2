#pragma once

#include "platform/program.h"

namespace platform::linuxsystem {

/// The helper's main(): puts its process in order, finds out who asks, and serves
/// him on standard input and output. Says on standard error why it does not. The
/// exit status: 0 when it has served, 1 when not.
int runHelper(int argc, char *argv[], const Program &program);

} // namespace platform::linuxsystem
