#include "platform/posix/storedfiles.h"

#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

bool writeAll(int descriptor, const QByteArray &content)
{
    for (qsizetype written = 0; written < content.size();) {
        const ssize_t count = ::write(descriptor, content.constData() + written,
                                      static_cast<std::size_t>(content.size() - written));
        if (count < 0 && errno != EINTR)
            return false;
        written += count > 0 ? count : 0;
    }
    return true;
}

} // namespace

DWORD readStoredFile(const QString &path, qint64 largest, QByteArray *content)
{
    const QByteArray name = QFile::encodeName(path);
    const int descriptor =
        ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0) {
        const bool isNoFile = errno == ELOOP || errno == ENOTDIR || errno == ENXIO;
        return isNoFile ? DWORD(ErrorInvalidData) : errorFromErrno(errno);
    }
    struct stat facts = {};
    const bool isFile =
        ::fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_size <= largest;
    content->clear();
    char part[4096];
    ssize_t count = 0;
    while (isFile && content->size() <= largest &&
           (count = ::read(descriptor, part, sizeof part)) > 0)
        content->append(part, static_cast<int>(count));
    ::close(descriptor);
    if (!isFile || content->size() > largest)
        return ErrorInvalidData;
    return count < 0 ? DWORD(ErrorDeviceNotConnected) : DWORD(Success);
}

DWORD makeFolder(const QString &path)
{
    const QFileInfo folder(path);
    if (folder.isDir())
        return Success;
    const DWORD code = makeFolder(folder.path());
    if (code != Success)
        return code;
    const QByteArray name = QFile::encodeName(path);
    if (::mkdir(name.constData(), 0755) != 0)
        return errno == EEXIST ? DWORD(Success) : errorFromErrno(errno);
    // Everybody has to read these folders, even if the administrator has a
    // strict umask.
    return ::chmod(name.constData(), 0755) == 0 ? DWORD(Success) : errorFromErrno(errno);
}

DWORD replaceFile(const QString &path, const QByteArray &content, mode_t mode)
{
    const QFileInfo file(path);
    // The temporary name starts with a dot, so that whoever reads the folder does
    // not take it for one of its files.
    QByteArray temporary = QFile::encodeName(file.path() + "/." + file.fileName() + ".XXXXXX");
    const int descriptor = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0)
        return errorFromErrno(errno);
    const bool isWritten = writeAll(descriptor, content) && ::fchmod(descriptor, mode) == 0 &&
                           ::fsync(descriptor) == 0 &&
                           ::rename(temporary.constData(), QFile::encodeName(path)) == 0;
    const DWORD code = isWritten ? DWORD(Success) : errorFromErrno(errno);
    if (!isWritten)
        ::unlink(temporary.constData());
    ::close(descriptor);
    return code;
}

} // namespace platform
