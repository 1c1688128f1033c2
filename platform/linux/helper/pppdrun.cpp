#include "platform/linux/helper/pppdrun.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/helper/protocol.h"
#include "platform/linux/lineholders.h"
#include "platform/linux/pppdresult.h"
#include "platform/linux/systempaths.h"
#include "platform/posix/process.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace platform::linuxsystem {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int LongestMessage = 1000;   // bytes of one line of pppd's
constexpr int PauseBetweenLooks = 100; // milliseconds

/// Starts pppd with nothing of this process's but a pipe for what it says. 0, or
/// the errno of what failed.
int start(const QByteArray &pppd, std::vector<QByteArray> words, int messages, pid_t *process)
{
    words.insert(words.begin(), pppd);
    const std::vector<char *> arguments = pointers(&words);

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    // If standard input were a terminal, pppd would use it as its line.
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, messages, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, messages, STDERR_FILENO);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    sigset_t usual;
    ::sigemptyset(&usual);
    for (const int number : {SIGPIPE, SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&usual, number);
    ::posix_spawnattr_setsigdefault(&attributes, &usual);
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int result =
        ::posix_spawn(process, pppd.constData(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return result;
}

/// Passes pppd's lines on.
class Messages
{
public:
    Messages(int pipe, int output) : m_pipe(pipe), m_output(output) {}

    /// Reads what is there. False when nobody takes the lines any more.
    bool pass()
    {
        char bytes[4096];
        ssize_t count = 0;
        while ((count = ::read(m_pipe, bytes, std::size(bytes))) > 0) {
            for (ssize_t i = 0; i < count; ++i) {
                if (bytes[i] == '\n')
                    send();
                else if (m_line.size() < LongestMessage)
                    m_line += bytes[i];
            }
        }
        m_isOpen = count < 0 && errno == EAGAIN;
        return m_isTaken;
    }

    void send()
    {
        if (!m_line.isEmpty())
            m_isTaken = sendLine(m_output, {{"line", QString::fromLocal8Bit(m_line)}}) && m_isTaken;
        m_line.clear();
    }

    /// The descriptor to wait for; -1 when pppd has closed its end.
    int descriptor() const { return m_isOpen ? m_pipe : -1; }

private:
    int m_pipe;
    int m_output;
    QByteArray m_line;
    bool m_isOpen = true;
    bool m_isTaken = true;
};

/// Waits for pppd's end. Its wait status.
int attend(pid_t process, Messages *messages, int input)
{
    // A kernel before 5.3 has no such descriptor: then it is looked after again and
    // again.
    const int end = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    std::optional<Clock::time_point> deadline; // of a pppd that was told to end
    const auto stop = [&] {
        if (deadline)
            return;
        ::kill(process, SIGTERM);
        deadline = Clock::now() + std::chrono::milliseconds(PppdEndPatience);
    };
    int status = 0;
    for (;;) {
        int left = -1;
        if (deadline) {
            using std::chrono::milliseconds;
            left = std::max(
                0, int(std::chrono::duration_cast<milliseconds>(*deadline - Clock::now()).count()));
        }
        const bool isLook = end < 0 && (left < 0 || left > PauseBetweenLooks);
        std::array<pollfd, 3> waiting = {{{end, POLLIN, 0},
                                          {messages->descriptor(), POLLIN, 0},
                                          {deadline ? -1 : input, POLLIN, 0}}};
        const int ready = ::poll(waiting.data(), waiting.size(), isLook ? PauseBetweenLooks : left);
        if (ready == 0 && !isLook) {
            ::kill(process, SIGKILL);
            deadline = Clock::now() + std::chrono::seconds(1);
        }
        if (ready > 0 && waiting[1].revents != 0 && !messages->pass())
            stop();
        if (ready > 0 && waiting[2].revents != 0)
            stop();
        const pid_t ended = ::waitpid(process, &status, WNOHANG);
        if (ended < 0 && errno != EINTR)
            status = 1 << 8; // somebody else has had it: as if it had failed
        if (ended == process || (ended < 0 && errno != EINTR))
            break;
    }
    if (end >= 0)
        ::close(end);
    return status;
}

} // namespace

void runPppd(const QString &pppd, const QString &peer, const QString &device, const QString &number,
             int input, int output)
{
    int ends[2] = {-1, -1};
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        sendLine(output, {{"code", double(ErrorGenFailure)}});
        return;
    }
    // pppd's own end must block, or it would lose what it says.
    ::fcntl(ends[1], F_SETFL, 0);
    pid_t process = 0;
    // poff looks for the arguments in this order.
    const int result = start(QFile::encodeName(pppd),
                             {"call", peer.toLocal8Bit(), device.toLocal8Bit(), "set",
                              "DIAL_NUMBER=" + number.toLatin1(), "logfd", "1", "updetach"},
                             ends[1], &process);
    ::close(ends[1]);
    if (result != 0) {
        ::close(ends[0]);
        sendLine(output, {{"code", double(result == ENOENT ? ErrorServiceMissing
                                                           : DWORD(ErrorAccessDenied))}});
        return;
    }
    Messages messages(ends[0], output);
    const int status = attend(process, &messages, input);
    messages.pass();
    messages.send();
    ::close(ends[0]);
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    QJsonObject outcome{{"code", 0}, {"status", exitStatus}};
    if (isPortInUse(exitStatus)) {
        const QList<LineHolder> holders = holdersOf(device, SystemPaths().locks);
        if (!holders.isEmpty())
            outcome.insert("holder", holders.first().program);
    }
    sendLine(output, outcome);
}

} // namespace platform::linuxsystem
