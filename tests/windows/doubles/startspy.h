#pragma once

#include "tests/windows/doubles/recorder.h"

#include <windows.h>

#include <sddl.h>

// Spies on the functions by which a start of the program finds another one and
// tells it. Events without a name pass through.
namespace doubles {

/// The open events with a name.
Handles &namedEvents();

/// Of CreateEventW, for an event with a name.
HANDLE createNamedEvent(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial, LPCWSTR name);

BOOL WINAPI spySetEvent(HANDLE event);
BOOL WINAPI spyIsUserAnAdmin();
BOOL WINAPI spyAllowSetForegroundWindow(DWORD process);
BOOL WINAPI spyConvertStringSecurityDescriptorToSecurityDescriptorW(LPCWSTR text, DWORD revision,
                                                                    PSECURITY_DESCRIPTOR *rights,
                                                                    PULONG size);

} // namespace doubles
