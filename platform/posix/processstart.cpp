#include "platform/posix/processstart.h"

#include "platform/posix/lasterror.h"

#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char **environ;

namespace platform {

namespace {

constexpr DWORD ErrorBadExeFormat = 193; // ERROR_BAD_EXE_FORMAT

/// The arguments of a command line: blanks part them, quotes keep them together.
std::vector<QByteArray> splitCommandLine(const QString &line)
{
    std::vector<QByteArray> arguments;
    QString argument;
    bool quoted = false;
    bool begun = false;
    for (const QChar c : line) {
        if (c == '"') {
            quoted = !quoted;
            begun = true;
        } else if (quoted || (c != ' ' && c != '\t')) {
            argument += c;
            begun = true;
        } else if (begun) {
            arguments.push_back(argument.toLocal8Bit());
            argument.clear();
            begun = false;
        }
    }
    if (begun)
        arguments.push_back(argument.toLocal8Bit());
    return arguments;
}

std::vector<char *> pointers(std::vector<QByteArray> *texts)
{
    std::vector<char *> result;
    for (QByteArray &text : *texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

DWORD spawnError(int number)
{
    if (number == ENOEXEC)
        return ErrorBadExeFormat;
    return number == ENOTDIR ? DWORD(ErrorFileNotFound) : errorFromErrno(number);
}

/// Keeps the ended child from staying behind and signals its handles.
void reap(pid_t child, std::shared_ptr<Event> process, std::shared_ptr<Event> thread)
{
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    process->set();
    thread->set();
}

} // namespace

BOOL checkProcessArguments(const WCHAR *application, const void *processAttributes,
                           const void *threadAttributes, BOOL inheritHandles, DWORD flags,
                           const void *environment, const WCHAR *directory,
                           const StartupInfo *startup, const ProcessInformation *information)
{
    if (!startup || startup->cb != sizeof *startup || !information)
        return fail(ErrorInvalidParameter);
    if (!application || processAttributes || threadAttributes || inheritHandles || flags != 0 ||
        environment || directory)
        return failUnsupported("CreateProcessW", "anything but a program and its command line");
    return 1;
}

std::vector<QByteArray> ownEnvironment()
{
    std::vector<QByteArray> environment;
    for (char **entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);
    return environment;
}

BOOL startProcess(OverlappedSerial *handles, const QString &program, const QString &commandLine,
                  std::vector<QByteArray> environment, ProcessInformation *information)
{
    if (QFileInfo(program).isDir())
        return fail(ErrorAccessDenied);
    const QByteArray path = QFile::encodeName(program);
    std::vector<QByteArray> arguments = splitCommandLine(commandLine);
    if (arguments.empty())
        arguments.push_back(path);

    pid_t child = 0;
    const int result = ::posix_spawn(&child, path.constData(), nullptr, nullptr,
                                     pointers(&arguments).data(), pointers(&environment).data());
    if (result != 0)
        return fail(spawnError(result));

    const auto process = std::make_shared<Event>(true, false);
    const auto thread = std::make_shared<Event>(true, false);
    std::thread(reap, child, process, thread).detach();
    information->hProcess = handles->addObject(process);
    information->hThread = handles->addObject(thread);
    information->dwProcessId = static_cast<DWORD>(child);
    information->dwThreadId = static_cast<DWORD>(child);
    return 1;
}

} // namespace platform
