#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the double libraries share. The directory named by the variable
// DOUBLES holds three files: machine.txt, the machine to play, read anew at
// every call so that a test can change it while the program runs; calls.log,
// one line a call; connections.txt, the active connections, one name a line.
//
// Lines of machine.txt:
//   fail FUNCTION N CODE   the N-th call of this process (or every one: *)
//                          fails with CODE
//   WORD TEXT              whatever the double of that word makes of it
namespace doubles {

/// True when the code at this address is the program's own. Wine's libraries
/// call into setupapi too and must get what is theirs.
bool calledByProgram(const void *returnAddress);

/// The texts behind `word` in machine.txt, in order.
std::vector<std::wstring> machineTexts(std::string_view word);

/// The first of them, or `otherwise`.
std::wstring machineText(std::string_view word, const std::wstring &otherwise);

/// Counts this call of `function` and returns the code it is to fail with.
std::optional<DWORD> scriptedFailure(const char *function);

std::vector<std::wstring> activeConnections();
void setActiveConnections(const std::vector<std::wstring> &names);

/// True when all of these bytes are 0. A null block is not.
bool isZero(const void *block, size_t bytes);

/// One line of calls.log, made of blank-separated items and written by write().
class Line
{
public:
    explicit Line(const char *function) : m_text(function), m_error(GetLastError()) {}

    Line &number(const char *name, unsigned long long value);
    Line &hex(const char *name, unsigned long long value);
    /// In double quotes, or null.
    Line &text(const char *name, const wchar_t *value);
    /// A text in a buffer of `units` UTF-16 units that has to be zero behind it.
    Line &buffer(const char *name, const wchar_t *value, size_t units);
    /// As text(), bytes that are not printable written \r, \n or \xNN.
    Line &bytes(const char *name, const void *value, size_t count);
    Line &word(const char *name, const char *value);
    Line &pointer(const char *name, const void *value);
    /// "name=zero", or how it is not.
    Line &zero(const char *name, const void *block, size_t count);
    Line &arrow();
    Line &item(const std::string &item);

    /// Appends the line to calls.log in one piece. The last error is then what
    /// it was when the line was begun: a call that succeeds leaves it alone.
    void write() const;

private:
    std::string m_text;
    DWORD m_error;
};

/// A failure that machine.txt asks for. The line is then written, complete with
/// the outcome, and the last error is set.
bool fails(const char *function, Line &line);

/// Writes a line with the outcome of a call that went through, and gives that
/// back. The last error is the call's.
BOOL went(Line &line, BOOL result);

/// Small numbers for handles, in the order in which they were made: the log
/// of two runs is the same.
class Handles
{
public:
    explicit Handles(const char *name) : m_name(name) {}

    void opened(const void *handle);
    /// False when it is not open.
    bool closed(const void *handle);
    bool contains(const void *handle) const;
    /// For example "set1"; "unknown" for one that was never opened, "closed2"
    /// for one that is closed.
    std::string name(const void *handle) const;
    /// Names of those that are open, or "none".
    std::string open() const;

private:
    struct Entry {
        const void *handle;
        int number;
        bool isOpen;
    };
    const char *m_name;
    std::vector<Entry> m_entries;
};

/// One lock for a library's own tables; calls come from several threads.
class Guard
{
public:
    Guard();
    ~Guard();
    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;
};

std::string narrow(const wchar_t *text);

} // namespace doubles
