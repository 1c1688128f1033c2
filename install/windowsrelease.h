#pragma once

/// The Windows release as a small number: a base code plus 20 on x64 or 40 on
/// Itanium. 0 for a release that the driver packages do not know. Any thread.
int GetWindowsVersionCode();
