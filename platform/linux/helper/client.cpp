#include "platform/linux/helper/client.h"

#include "platform/posix/process.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace platform::linuxsystem {

namespace {

constexpr int Dismissed = 126; // of pkexec

} // namespace

/// A running helper, at the other end of a socket that is its standard input
/// and output.
class HelperProcess
{
public:
    HelperProcess() = default;
    ~HelperProcess() { end(); }
    HelperProcess(const HelperProcess &) = delete;
    HelperProcess &operator=(const HelperProcess &) = delete;

    /// Starts it and waits until it has its rights. The codes of openSetUp().
    DWORD start(const SystemPaths &paths, Role role)
    {
        const QStringList command = helperCommand(paths, role);
        if (command.isEmpty())
            return ErrorAccessDenied;
        int ends[2] = {-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            return ErrorGenFailure;
        std::vector<QByteArray> words;
        for (const QString &word : command)
            words.push_back(QFile::encodeName(word));
        const std::vector<char *> arguments = pointers(&words);

        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        const int result = ::posix_spawn(&m_process, arguments.front(), &actions, nullptr,
                                         arguments.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        m_socket = ends[0];
        if (result != 0) {
            m_process = 0;
            end();
            return ErrorAccessDenied; // nobody here can give rights
        }
        m_reader = LineReader(m_socket);
        QByteArray line;
        if (m_reader.next(&line) == LineReader::Result::Line &&
            fromLine(line).value_or(QJsonObject()).value("ready").toBool())
            return Success;
        return refusalOf(end());
    }

    bool isAlive() const
    {
        pollfd state = {m_socket, POLLIN, 0};
        return m_socket >= 0 && ::poll(&state, 1, 0) == 0;
    }

    DWORD ask(const QJsonObject &request, QJsonObject *reply)
    {
        QByteArray line;
        if (sendLine(m_socket, request) && m_reader.next(&line) == LineReader::Result::Line) {
            const QJsonObject answer = fromLine(line).value_or(QJsonObject());
            const QJsonValue code = answer.value("code");
            if (reply)
                *reply = answer;
            if (code.isDouble())
                return static_cast<DWORD>(code.toDouble());
        }
        end();
        return ErrorGenFailure;
    }

private:
    /// Tells the helper that nothing more comes and waits for its end. Its exit
    /// status, -1 when it was killed or never ran.
    int end()
    {
        if (m_socket >= 0)
            ::close(m_socket);
        m_socket = -1;
        int status = -1;
        if (m_process > 0) {
            while (::waitpid(m_process, &status, 0) < 0 && errno == EINTR) {
            }
        }
        m_process = 0;
        return status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t m_process = 0;
    int m_socket = -1;
    LineReader m_reader{-1};
};

HelperClient::HelperClient(const SystemPaths &paths) : m_paths(paths) {}

HelperClient::~HelperClient() = default;

bool HelperClient::isNeeded() const
{
    return !m_paths.pkexec.isEmpty();
}

DWORD HelperClient::openSetUp()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return openSetUpLocked();
}

DWORD HelperClient::openSetUpLocked()
{
    if (m_setUp && m_setUp->isAlive())
        return Success;
    m_setUp = std::make_unique<HelperProcess>();
    const DWORD code = m_setUp->start(m_paths, Role::SetUp);
    if (code != Success)
        m_setUp.reset();
    return code;
}

DWORD HelperClient::ask(Role role, const QJsonObject &request, QJsonObject *reply)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (role == Role::SetUp) {
        const DWORD code = openSetUpLocked();
        return code == Success ? m_setUp->ask(request, reply) : code;
    }
    HelperProcess helper;
    const DWORD code = helper.start(m_paths, role);
    return code == Success ? helper.ask(request, reply) : code;
}

QStringList helperCommand(const SystemPaths &paths, Role role)
{
    const QStringList command{paths.helper, wordOf(role)};
    if (paths.pkexec.isEmpty())
        return command;
    if (isOnlyRoots(paths.helper, paths.trusted))
        return QStringList(paths.pkexec) + command;
    std::fprintf(stderr,
                 "%s: others than root can change this program or a folder above it, so it gets "
                 "no administrator's rights; install the package\n",
                 qPrintable(paths.helper));
    return {};
}

DWORD refusalOf(int exitStatus)
{
    return exitStatus == Dismissed ? ErrorCancelled : ErrorAccessDenied;
}

} // namespace platform::linuxsystem
