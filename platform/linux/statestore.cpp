#include "platform/linux/statestore.h"

#include "platform/linux/storedfiles.h"
#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"

#include <QFile>
#include <QJsonDocument>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

/// A file that is locked for as long as the object lives. Nobody else can open
/// it: whoever could would be able to hold the lock for ever.
class FileLock
{
public:
    explicit FileLock(const QString &path)
        : m_descriptor(
              ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
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

} // namespace

StateStore::StateStore(const QString &folder) : m_folder(folder) {}

QString StateStore::folder() const
{
    return m_folder;
}

DWORD StateStore::read(QJsonObject *content) const
{
    *content = {};
    const QByteArray name = QFile::encodeName(m_folder + "/state.json");
    const int descriptor = ::open(name.constData(), O_RDONLY | O_CLOEXEC);
    // Only a store that is not there is empty: what may not be read is no
    // reason to install everything once more.
    if (descriptor < 0)
        return errno == ENOENT ? DWORD(Success) : errorFromErrno(errno);
    QFile file;
    file.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle);
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject())
        return ErrorInvalidData;
    *content = document.object();
    return Success;
}

DWORD StateStore::change(const std::function<bool(QJsonObject *)> &function)
{
    DWORD code = makeFolder(m_folder);
    if (code != Success)
        return code;
    const FileLock lock(m_folder + "/state.lock");
    if (lock.code() != Success)
        return lock.code();
    QJsonObject content;
    code = read(&content);
    if (code != Success)
        return code;
    if (!function(&content))
        return Success;

    return replaceFile(m_folder + "/state.json", QJsonDocument(content).toJson(), 0644);
}

} // namespace platform::linuxsystem
