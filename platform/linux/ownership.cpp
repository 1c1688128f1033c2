#include "platform/linux/ownership.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

bool isSafe(const struct stat &facts)
{
    const bool isOwn = facts.st_uid == 0 || facts.st_uid == ::geteuid();
    const bool isOpen = (facts.st_mode & (S_IWGRP | S_IWOTH)) != 0;
    // In such a folder, as /tmp is one, everybody can change his own files only.
    const bool isSticky = S_ISDIR(facts.st_mode) && (facts.st_mode & S_ISVTX) != 0;
    return isOwn && !S_ISLNK(facts.st_mode) && (!isOpen || isSticky);
}

} // namespace

bool isOnlyRoots(const QString &path)
{
    struct stat facts = {};
    bool isMissing = false;
    for (QString part = QDir::cleanPath(path);; part = QFileInfo(part).path()) {
        if (::lstat(QFile::encodeName(part).constData(), &facts) != 0) {
            if (part == "/")
                return false;
            isMissing = true;
            continue;
        }
        if (!isSafe(facts) || (isMissing && (facts.st_mode & S_IWOTH) != 0))
            return false;
        isMissing = false;
        if (part == "/")
            return true;
    }
}

} // namespace platform::linuxsystem
