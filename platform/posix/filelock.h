#pragma once

#include <QString>

#include <chrono>
#include <optional>
#include <sys/types.h>

namespace platform {

/// A lock file that is held for as long as the object lives. The constructor
/// waits until no other thread or process holds it, or gives up.
class FileLock
{
public:
    /// Waits for the lock, at most that long if a patience is given. A missing file
    /// is made with this mode, and no link is followed. Everybody who may open the file can block
    /// the others.
    FileLock(const QString &path, mode_t mode,
             std::optional<std::chrono::milliseconds> patience = std::nullopt);
    ~FileLock();
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    /// 0 when the file is locked, ETIMEDOUT when it was not given back in time, else
    /// the errno of what failed.
    int error() const { return m_error; }

private:
    int lock(std::optional<std::chrono::milliseconds> patience) const;

    int m_descriptor;
    int m_error = 0;
};

} // namespace platform
