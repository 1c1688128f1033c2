#pragma once

namespace platform::linuxsystem {

/// Takes back to a fresh process's state what this one has from whoever asked for
/// it, and would hand to everything that it starts: environment, working folder,
/// file mode mask, session and controlling terminal, signal mask and actions,
/// timers, resource limits, priorities, processors, execution domain, the kernel's
/// wish to kill it first, and keyring. What cannot be taken back is told in
/// docs/linux.md. For root, first of all and before there are threads. This may
/// go on in a child: the process then waits for it and ends as it does. False when
/// something failed that matters.
bool leaveTheAskersSurroundings();

} // namespace platform::linuxsystem
