#include "platform/linux/seriallock.h"

#include <QFile>

#include <cerrno>
#include <csignal>

namespace platform {

bool isLineLocked(const QString &locksFolder, const QString &kernelName)
{
    QFile file(locksFolder + "/LCK.." + kernelName);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const int process = file.readAll().trimmed().toInt();
    return process > 0 && (::kill(process, 0) == 0 || errno == EPERM);
}

} // namespace platform
