#pragma once

#include "platform/operation.h"
#include "platform/types.h"

namespace platform {

/// STARTUPINFOW.
struct StartupInfo {
    DWORD cb;
    WCHAR *lpReserved;
    WCHAR *lpDesktop;
    WCHAR *lpTitle;
    DWORD dwX;
    DWORD dwY;
    DWORD dwXSize;
    DWORD dwYSize;
    DWORD dwXCountChars;
    DWORD dwYCountChars;
    DWORD dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    BYTE *lpReserved2;
    HANDLE hStdInput;
    HANDLE hStdOutput;
    HANDLE hStdError;
};
static_assert(sizeof(StartupInfo) == 104, "STARTUPINFOW on 64-bit Windows");

/// PROCESS_INFORMATION: both handles are the caller's to close.
struct ProcessInformation {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};
static_assert(sizeof(ProcessInformation) == 24, "PROCESS_INFORMATION");

/// Process start (kernel32). Any thread.
struct Process : Family {
    /// Starts lpApplicationName without waiting for it. lpCommandLine may be
    /// written to. Zero on failure: 2 when the program is missing, 5 when it
    /// may not be run; the information record is then untouched.
    Operation<BOOL(const WCHAR *lpApplicationName, WCHAR *lpCommandLine, void *lpProcessAttributes,
                   void *lpThreadAttributes, BOOL bInheritHandles, DWORD dwCreationFlags,
                   void *lpEnvironment, const WCHAR *lpCurrentDirectory, StartupInfo *lpStartupInfo,
                   ProcessInformation *lpProcessInformation)>
        CreateProcessW{this, "CreateProcessW"};
};

} // namespace platform
