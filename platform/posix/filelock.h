#pragma once

#include <QString>

#include <sys/types.h>

namespace platform {

/// A lock file that is held for as long as the object lives. The constructor
/// waits until no other thread or process holds it.
class FileLock
{
public:
    /// Waits for the lock. A missing file is made with this mode. Everybody who
    /// may open the file can block the others.
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
