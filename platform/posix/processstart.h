#pragma once

#include "platform/posix/overlappedserial.h"
#include "platform/process.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace platform {

/// What CreateProcessW is asked for where only a program and its command line
/// can be had: 1, or 0 with the last error set (87, 50) for anything more.
BOOL checkProcessArguments(const WCHAR *application, const void *processAttributes,
                           const void *threadAttributes, BOOL inheritHandles, DWORD flags,
                           const void *environment, const WCHAR *directory,
                           const StartupInfo *startup, const ProcessInformation *information);

/// Starts a program without waiting for it: 2 when it is missing, 5 when it may
/// not be run, 193 when it is no program. The command line's first word is
/// what the program sees as its own name; no shell reads it. Both handles
/// become the caller's, kept in the table of handles, and are signalled when
/// the process has ended.
BOOL startProcess(OverlappedSerial *handles, const QString &program, const QString &commandLine,
                  std::vector<QByteArray> environment, ProcessInformation *information);

/// This process's environment, as NAME=value.
std::vector<QByteArray> ownEnvironment();

} // namespace platform
