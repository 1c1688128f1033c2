#pragma once

#include <QDir>
#include <QFileInfo>
#include <QString>

namespace faults {

/// Where folders for walks are made, for QTemporaryDir: in memory, if there is such a
/// place, as every settings write waits for the disk.
inline QString folderTemplate()
{
    const QString memory = "/dev/shm";
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + "/apart-XXXXXX";
}

} // namespace faults
