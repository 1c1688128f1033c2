#pragma once

#include <QString>

#include <sys/types.h>

namespace platform {

/// A file that is locked for as long as the object lives. Whoever else locks it,
/// another thread or another process, waits in the constructor until then.
class FileLock
{
public:
    /// Waits for the lock. A missing file is made with this mode: whoever can
    /// open it can hold the lock for ever.
    FileLock(const QString &path, mode_t mode);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    /// 0 when the file is locked, else the errno of what failed.
    int error() const { return m_error; }

private:
    int m_descriptor;
    int m_error = 0;
};

} // namespace platform
