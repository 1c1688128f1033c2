#pragma once

#include <QString>
#include <QStringList>

#include <sys/types.h>

namespace platform::linuxsystem {

/// Whose files may run with root's rights: as it is made, root's alone and
/// everywhere. Tests name places and a user of their own. A value.
struct TrustedPlaces {
    uid_t owner = 0;    ///< whose files are as good as root's
    QStringList places; ///< neither these nor what is above them is looked at
};

/// Whether nobody but root can change a file or make another in its place: it and
/// every folder above it are root's, nobody else may write them, and none is a
/// link. A folder as /tmp, where each keeps his own, is no exception: what root
/// unpacked there another user can put there first, or later. A file that does not
/// exist must be impossible for others to make. False for a path that is not
/// absolute. Any thread.
bool isOnlyRoots(const QString &path, const TrustedPlaces &trusted = {});

} // namespace platform::linuxsystem
