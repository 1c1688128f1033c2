#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

namespace faults {

/// What became of a process that ran apart.
struct Apart {
    bool inTime = false; ///< it ended by itself
    int exitCode = -1;   ///< -1 when a signal ended it
    int signal = 0;      ///< which one
    QByteArray report;   ///< what it reported last
    QByteArray errors;   ///< what it wrote to standard error
};

/// Runs a function in a process of its own, a copy of this one: what it breaks
/// ends with it. The process may leave files in `folder` only. It is ended when
/// it has not ended by itself within so many seconds. Call it while this process
/// has a single thread. The function gets what takes its report; the last one
/// counts.
Apart runApart(const QString &folder, int seconds,
               const std::function<void(const std::function<void(const QByteArray &)> &)> &run);

/// From now on processes that those have left behind belong to this one.
void adoptOrphans();

/// Ends the processes that were left behind, and waits for it.
void endOrphans();

} // namespace faults
