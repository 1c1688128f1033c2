#pragma once

#include "platform/types.h"

#include <QByteArray>
#include <QString>

#include <sys/types.h>

namespace platform {

/// Makes a folder, and those above it, that everyone may read. Success, also
/// when it is there already, 5 without the rights, 31 for a disk that is full
/// or read-only. Any thread.
DWORD makeFolder(const QString &path);

/// Replaces a file as a whole: a reader sees the old content or the new one,
/// and on failure the old file is still there. What is written meanwhile has a
/// hidden name beside it; a process that is killed leaves that behind. Success,
/// 5 without the rights, 31 for a disk that is full or read-only. Any thread.
DWORD replaceFile(const QString &path, const QByteArray &content, mode_t mode);

} // namespace platform
