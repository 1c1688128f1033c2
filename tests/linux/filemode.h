#pragma once

#include <QString>

#include <sys/stat.h>

/// Sets a file's or folder's mode; the owner's test cannot do without it.
inline void setMode(const QString &path, mode_t mode)
{
    if (::chmod(path.toLocal8Bit().constData(), mode) != 0)
        qFatal("chmod %s", qPrintable(path));
}
