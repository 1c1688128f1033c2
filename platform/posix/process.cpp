#include "platform/posix/process.h"

#include "platform/platform.h"
#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"

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

/// The arguments of a command line. Blanks separate them, except inside quotes.
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

DWORD spawnError(int number)
{
    if (number == ENOEXEC)
        return ErrorBadExeFormat;
    return number == ENOTDIR ? DWORD(ErrorFileNotFound) : errorFromErrno(number);
}

/// Waits for the end of the child, so that no zombie is left, and signals its
/// handles.
void reap(pid_t child, std::shared_ptr<Event> process, std::shared_ptr<Event> thread)
{
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    process->set();
    thread->set();
}

class Processes
{
public:
    Processes(std::shared_ptr<Handles> handles, ProgramPath programPath, Environment environment)
        : m_handles(std::move(handles)),
          m_programPath(std::move(programPath)),
          m_environment(std::move(environment))
    {
    }

    BOOL CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                        void *lpProcessAttributes, void *lpThreadAttributes, BOOL bInheritHandles,
                        DWORD dwCreationFlags, void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                        StartupInfo *lpStartupInfo, ProcessInformation *lpProcessInformation)
    {
        if (!lpStartupInfo || lpStartupInfo->cb != sizeof *lpStartupInfo || !lpProcessInformation)
            return fail(ErrorInvalidParameter);
        if (!lpApplicationName || lpProcessAttributes || lpThreadAttributes || bInheritHandles ||
            dwCreationFlags != 0 || lpEnvironment || lpCurrentDirectory)
            return failUnsupported("CreateProcessW", "anything but a program and its command line");
        const QString program = m_programPath(fromWide(lpApplicationName));
        if (QFileInfo(program).isDir())
            return fail(ErrorAccessDenied);
        const QByteArray path = QFile::encodeName(program);
        std::vector<QByteArray> arguments =
            splitCommandLine(lpCommandLine ? fromWide(lpCommandLine) : QString());
        if (arguments.empty())
            arguments.push_back(path);
        std::vector<QByteArray> environment = m_environment();

        pid_t child = 0;
        const int result =
            ::posix_spawn(&child, path.constData(), nullptr, nullptr, pointers(&arguments).data(),
                          pointers(&environment).data());
        if (result != 0)
            return fail(spawnError(result));

        const auto process = std::make_shared<Event>(true, false);
        const auto thread = std::make_shared<Event>(true, false);
        std::thread(reap, child, process, thread).detach();
        lpProcessInformation->hProcess = m_handles->add(process);
        lpProcessInformation->hThread = m_handles->add(thread);
        lpProcessInformation->dwProcessId = static_cast<DWORD>(child);
        lpProcessInformation->dwThreadId = static_cast<DWORD>(child);
        return 1;
    }

private:
    const std::shared_ptr<Handles> m_handles;
    const ProgramPath m_programPath;
    const Environment m_environment;
};

} // namespace

std::vector<char *> pointers(std::vector<QByteArray> *texts)
{
    std::vector<char *> result;
    for (QByteArray &text : *texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

std::vector<QByteArray> ownEnvironment()
{
    std::vector<QByteArray> environment;
    for (char **entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);
    return environment;
}

void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const ProgramPath &programPath, const Environment &environment)
{
    platform->CreateProcessW.provide(std::make_shared<Processes>(handles, programPath, environment),
                                     &Processes::CreateProcessW);
}

} // namespace platform
