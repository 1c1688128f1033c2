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

/// What runs apart gets: it takes its report; the last one counts.
using Report = std::function<void(const QByteArray &)>;

/// Starts a function in a process of its own, a copy of this one: what it breaks ends
/// with it. The process may leave files in `folder` only. Call it while this process
/// has a single thread. Its number.
int startApart(const QString &folder, const std::function<void(const Report &)> &run);

/// Waits for a process that was started with this folder. It is ended when it has not
/// ended by itself within so many seconds.
Apart waitForApart(int process, const QString &folder, int seconds);

/// Both.
Apart runApart(const QString &folder, int seconds, const std::function<void(const Report &)> &run);

/// From now on processes that those have left behind belong to this one.
void adoptOrphans();

/// Ends the processes that were left behind, and waits for it.
void endOrphans();

} // namespace faults
