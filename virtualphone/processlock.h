#pragma once

#include <QLockFile>
#include <QString>

#include <memory>

namespace virtualphone {

/// Locks a file for as long as the returned object lives; a lock that a dead
/// process left is taken over. Null when the lock cannot be had: *holder is then
/// the process that has it, or 0 when the file cannot be made.
std::unique_ptr<QLockFile> takeLock(const QString &fileName, qint64 *holder);

} // namespace virtualphone
