#pragma once

#include "platform/types.h"

#include <QByteArray>
#include <QString>

#include <sys/types.h>

namespace platform {

/// Reads a whole file of at most that many bytes: Success, 2 when there is none, 5 when it
/// may not be read, 13 when it is larger, or anything but a file: a pipe would be waited
/// for, and a link leads anywhere. The same codes as below for a disk. Any thread.
DWORD readStoredFile(const QString &path, qint64 largest, QByteArray *content);

/// Makes a folder, and those above it, that everyone may read. Success, also
/// when it is there already, 5 without the rights, 31 for a disk that is full
/// or read-only. Any thread.
DWORD makeFolder(const QString &path);

/// Replaces a whole file: a reader sees the old content or the new one, and
/// after a failure the old file is still there. The new content is first
/// written to a hidden file beside it, which is left behind if the process is
/// killed. Success, 5 without the rights, 31 for a disk that is full or
/// read-only. Any thread.
DWORD replaceFile(const QString &path, const QByteArray &content, mode_t mode);

} // namespace platform
