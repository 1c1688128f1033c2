#pragma once

/// Shows a modal warning box titled "Error in Function <function>" with the
/// message and ends the process with exit code 0 when it is closed. Any
/// thread: the box itself is shown by the GUI thread. Never returns.
[[noreturn]] void ShowFatalError(const char *function, const char *message);
