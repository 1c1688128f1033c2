#include "platform/linux/statestore.h"

#include "platform/posix/lasterror.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSaveFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform {

namespace {

/// A file that is locked for as long as the object lives.
class FileLock
{
public:
    explicit FileLock(const QString &path)
        : m_descriptor(
              ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0644))
    {
        int result = m_descriptor;
        while (result >= 0) {
            result = ::flock(m_descriptor, LOCK_EX);
            if (result == 0)
                return;
            if (errno == EINTR)
                result = m_descriptor;
        }
        m_code = errorFromErrno(errno);
    }
    ~FileLock()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    FileLock(const FileLock &) = delete;
    FileLock &operator=(const FileLock &) = delete;

    DWORD code() const { return m_code; }

private:
    int m_descriptor;
    DWORD m_code = Success;
};

DWORD codeOf(QFileDevice::FileError error)
{
    switch (error) {
    case QFileDevice::NoError:
        return Success;
    case QFileDevice::OpenError:
    case QFileDevice::PermissionsError:
        return ErrorAccessDenied;
    default:
        return ErrorGenFailure;
    }
}

} // namespace

StateStore::StateStore(const QString &folder) : m_folder(folder) {}

QString StateStore::folder() const
{
    return m_folder;
}

DWORD StateStore::read(QJsonObject *content) const
{
    *content = {};
    QFile file(m_folder + "/state.json");
    if (!file.open(QIODevice::ReadOnly))
        return QFileInfo::exists(file.fileName()) ? DWORD(ErrorAccessDenied) : DWORD(Success);
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return ErrorInvalidData;
    *content = document.object();
    return Success;
}

DWORD StateStore::change(const std::function<bool(QJsonObject *)> &function)
{
    if (!QDir().mkpath(m_folder))
        return ErrorAccessDenied;
    const FileLock lock(m_folder + "/state.lock");
    if (lock.code() != Success)
        return lock.code();
    QJsonObject content;
    const DWORD code = read(&content);
    if (code != Success)
        return code;
    if (!function(&content))
        return Success;

    QSaveFile file(m_folder + "/state.json");
    if (!file.open(QIODevice::WriteOnly))
        return codeOf(file.error());
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther);
    file.write(QJsonDocument(content).toJson());
    return file.commit() ? DWORD(Success) : codeOf(file.error());
}

} // namespace platform
