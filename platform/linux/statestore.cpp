#include "platform/linux/statestore.h"

#include "platform/posix/errno.h"
#include "platform/posix/filelock.h"
#include "platform/posix/storedfiles.h"
#include "platform/standin/lasterror.h"

#include <QFile>
#include <QJsonDocument>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>

namespace platform::linuxsystem {

namespace {

constexpr int MostDamaged = 100;
// A thousand times what modems and ports need.
constexpr qint64 LargestState = qint64{16} * 1024 * 1024;

} // namespace

StateStore::StateStore(const QString &folder, std::chrono::milliseconds patience)
    : m_folder(folder), m_patience(patience)
{
}

QString StateStore::folder() const
{
    return m_folder;
}

DWORD StateStore::read(QJsonObject *content) const
{
    *content = {};
    QByteArray text;
    const DWORD code = readStoredFile(file(), LargestState, &text);
    // Only a missing file means an empty store. A file that may not be read
    // must not lead to a second installation.
    if (code != Success)
        return code == ErrorFileNotFound ? DWORD(Success) : code;
    const QJsonDocument document = QJsonDocument::fromJson(text);
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
    // Only administrators may open the lock file: whoever holds the lock blocks
    // everybody else.
    const FileLock lock(m_folder + "/state.lock", 0600, m_patience);
    if (lock.error() != 0)
        return errorFromErrno(lock.error());
    QJsonObject content;
    code = read(&content);
    if (code != Success)
        return code;
    if (!function(&content))
        return Success;

    return replaceFile(file(), QJsonDocument(content).toJson(), 0644);
}

DWORD StateStore::putAside()
{
    const FileLock lock(m_folder + "/state.lock", 0600, m_patience);
    if (lock.error() != 0)
        return errorFromErrno(lock.error());
    // Another name that is there is never taken.
    for (int number = 1; number < MostDamaged; ++number) {
        const QByteArray aside = QFile::encodeName(file() + QString(".damaged%1").arg(number));
        if (::renameat2(AT_FDCWD, QFile::encodeName(file()).constData(), AT_FDCWD,
                        aside.constData(), RENAME_NOREPLACE) == 0)
            return Success;
        if (errno != EEXIST)
            return errorFromErrno(errno);
    }
    return ErrorGenFailure;
}

} // namespace platform::linuxsystem
