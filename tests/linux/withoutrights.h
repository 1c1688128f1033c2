#pragma once

#include <QString>

#include <sys/stat.h>
#include <unistd.h>

/// While it lives this process has no rights beyond those of "nobody", root or
/// not, so that missing rights can be tried wherever the tests run.
class WithoutRights
{
public:
    WithoutRights() : m_wasRoot(::geteuid() == 0)
    {
        if (m_wasRoot && (::setegid(Nobody) != 0 || ::setresuid(Nobody, Nobody, 0) != 0))
            qFatal("cannot give the rights up");
    }
    ~WithoutRights()
    {
        if (m_wasRoot && (::setresuid(0, 0, 0) != 0 || ::setegid(0) != 0))
            qFatal("cannot take the rights back");
    }
    WithoutRights(const WithoutRights &) = delete;
    WithoutRights &operator=(const WithoutRights &) = delete;

private:
    static constexpr unsigned Nobody = 65534;
    const bool m_wasRoot;
};

/// Sets a file's or folder's mode; the owner's test cannot do without it.
inline void setMode(const QString &path, mode_t mode)
{
    if (::chmod(path.toLocal8Bit().constData(), mode) != 0)
        qFatal("chmod %s", qPrintable(path));
}
