// A program for the command line that runs the windowed program beside it with
// the same arguments. A windowed program has no console: nobody waits for it
// there, and what it prints is lost. This one waits, prints what the other
// printed (UTF-8) and ends with its exit code. Without arguments it only starts
// the other one.

#include <windows.h>

#include <string>

namespace {

constexpr DWORD NotStarted = 127; // exit code, as command lines use it

std::wstring windowedProgram()
{
    std::wstring path(32768, L'\0'); // the longest path there can be
    path.resize(GetModuleFileNameW(nullptr, &path[0], static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1) + WINDOWED_PROGRAM;
}

/// What stands behind this program's name, as it was typed.
std::wstring arguments()
{
    const wchar_t *rest = GetCommandLineW();
    for (bool isQuoted = false; *rest != 0 && (isQuoted || (*rest != L' ' && *rest != L'\t'));
         ++rest)
        isQuoted ^= *rest == L'"';
    return rest;
}

/// A pipe that the other program writes into, read to its end by a thread.
class Pipe
{
public:
    Pipe()
    {
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        CreatePipe(&m_reading, &m_writing, &inherited, 0);
        SetHandleInformation(m_reading, HANDLE_FLAG_INHERIT, 0);
    }

    HANDLE writingEnd() const { return m_writing; }

    /// Call when the other program has its copy of the writing end.
    void beginReading()
    {
        CloseHandle(m_writing);
        m_thread = CreateThread(nullptr, 0, read, this, 0, nullptr);
    }

    /// Waits for the end and prints everything to a standard handle.
    void printTo(DWORD standardHandle)
    {
        WaitForSingleObject(m_thread, INFINITE);
        const HANDLE to = GetStdHandle(standardHandle);
        DWORD ignored = 0;
        if (!GetConsoleMode(to, &ignored)) {
            WriteFile(to, m_text.data(), static_cast<DWORD>(m_text.size()), &ignored, nullptr);
            return;
        }
        // Whatever the console's code page is.
        const int size = static_cast<int>(m_text.size());
        std::wstring wide(m_text.size(), L'\0');
        wide.resize(static_cast<std::size_t>(
            MultiByteToWideChar(CP_UTF8, 0, m_text.data(), size, &wide[0], size)));
        WriteConsoleW(to, wide.data(), static_cast<DWORD>(wide.size()), &ignored, nullptr);
    }

private:
    static DWORD WINAPI read(void *pipe)
    {
        auto *self = static_cast<Pipe *>(pipe);
        char chunk[4096];
        DWORD count = 0;
        while (ReadFile(self->m_reading, chunk, sizeof chunk, &count, nullptr) && count > 0)
            self->m_text.append(chunk, count);
        return 0;
    }

    HANDLE m_reading = nullptr;
    HANDLE m_writing = nullptr;
    HANDLE m_thread = nullptr;
    std::string m_text;
};

} // namespace

int main()
{
    const std::wstring program = windowedProgram();
    std::wstring command = L'"' + program + L'"' + arguments();
    const bool isWindow = command.find_last_not_of(L" \t") == program.size() + 1;
    Pipe output;
    Pipe errors;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = output.writingEnd();
    startup.hStdError = errors.writingEnd();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), &command[0], nullptr, nullptr, !isWindow, 0, nullptr,
                        nullptr, &startup, &process)) {
        const char message[] = "The program beside this one could not be started.\r\n";
        DWORD ignored = 0;
        WriteFile(GetStdHandle(STD_ERROR_HANDLE), message, sizeof message - 1, &ignored, nullptr);
        return NotStarted;
    }
    if (isWindow)
        return 0;
    output.beginReading();
    errors.beginReading();
    output.printTo(STD_OUTPUT_HANDLE);
    errors.printTo(STD_ERROR_HANDLE);
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = NotStarted;
    GetExitCodeProcess(process.hProcess, &code);
    return static_cast<int>(code);
}
