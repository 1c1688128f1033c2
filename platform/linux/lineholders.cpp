#include "platform/linux/lineholders.h"

#include "platform/linux/ownership.h"
#include "platform/linux/seriallock.h"
#include "platform/text.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace platform::linuxsystem {

namespace {

QString programOf(pid_t process)
{
    QFile file(QString("/proc/%1/comm").arg(process));
    // Each may call his process what he likes.
    return file.open(QIODevice::ReadOnly)
               ? withoutHiddenCharacters(QString::fromUtf8(file.readAll()).trimmed())
               : QString();
}

/// The device behind a name; 0 when it is none.
dev_t deviceOf(const QString &path)
{
    struct stat facts = {};
    const bool isDevice =
        ::stat(QFile::encodeName(path).constData(), &facts) == 0 && S_ISCHR(facts.st_mode);
    return isDevice ? facts.st_rdev : 0;
}

bool hasOpen(const QString &process, dev_t device)
{
    const QString folder = "/proc/" + process + "/fd/";
    const QStringList descriptors = QDir(folder).entryList(QDir::System | QDir::Files);
    return std::any_of(descriptors.begin(), descriptors.end(), [&](const QString &descriptor) {
        return deviceOf(folder + descriptor) == device;
    });
}

/// Starts ModemManager's service anew, if it runs, and waits for that.
void restartModemManager(const SystemPaths &paths)
{
    const QString path = QFileInfo(paths.systemctl).canonicalFilePath();
    if (path.isEmpty() || !isOnlyRoots(path, paths.trusted))
        return;
    const QByteArray program = QFile::encodeName(path);
    char name[] = "systemctl";
    char verb[] = "try-restart";
    char unit[] = "ModemManager.service";
    char *arguments[] = {name, verb, unit, nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    // What it says is no reply of the helper's.
    ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    pid_t child = 0;
    const int result =
        ::posix_spawn(&child, program.constData(), &actions, nullptr, arguments, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    while (result == 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

QList<LineHolder> holdersOf(const QString &node, const QString &locksFolder)
{
    QList<LineHolder> holders;
    const dev_t device = deviceOf(node);
    if (device == 0)
        return holders;
    const auto add = [&holders](pid_t process) {
        const uid_t user = QFileInfo(QString("/proc/%1").arg(process)).ownerId();
        holders += LineHolder{process, user, programOf(process)};
    };
    for (const QString &process : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        if (hasOpen(process, device))
            add(process.toInt());
    }
    const pid_t owner = lockOwner(locksFolder, QFileInfo(node).fileName());
    const bool isKnown = std::any_of(holders.begin(), holders.end(),
                                     [owner](const auto &each) { return each.process == owner; });
    if (owner > 0 && !isKnown)
        add(owner);
    return holders;
}

DWORD freeLine(const QString &node, const SystemPaths &paths, QString *holder, int patience)
{
    QElapsedTimer sinceRestart;
    for (;;) {
        const QList<LineHolder> holders = holdersOf(node, paths.locks);
        if (holders.isEmpty())
            return Success;
        // Anybody may give his process that name.
        const bool isModemManagers =
            std::all_of(holders.begin(), holders.end(), [](const LineHolder &each) {
                return each.program == modemManagerProgram && each.user == ::geteuid();
            });
        *holder = holders.first().program;
        if (!isModemManagers || (sinceRestart.isValid() && sinceRestart.hasExpired(patience)))
            return ErrorAccessDenied;
        if (sinceRestart.isValid()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        } else {
            restartModemManager(paths);
            sinceRestart.start();
        }
    }
}

} // namespace platform::linuxsystem
