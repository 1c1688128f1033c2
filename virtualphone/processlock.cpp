#include "virtualphone/processlock.h"

namespace virtualphone {

std::unique_ptr<QLockFile> takeLock(const QString &fileName, qint64 *holder)
{
    auto lock = std::make_unique<QLockFile>(fileName);
    // Age does not make it stale: a phone may stay plugged in for days.
    lock->setStaleLockTime(0);
    *holder = 0;
    if (lock->tryLock(0))
        return lock;
    QString host;
    QString application;
    lock->getLockInfo(holder, &host, &application);
    return nullptr;
}

} // namespace virtualphone
