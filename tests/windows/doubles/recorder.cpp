#include "tests/windows/doubles/recorder.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace doubles {

namespace {

CRITICAL_SECTION &lock()
{
    static CRITICAL_SECTION section = [] {
        CRITICAL_SECTION made;
        InitializeCriticalSection(&made);
        return made;
    }();
    return section;
}

std::wstring file(const wchar_t *name)
{
    wchar_t directory[MAX_PATH] = {};
    GetEnvironmentVariableW(L"DOUBLES", directory, MAX_PATH);
    return std::wstring(directory) + L"\\" + name;
}

std::wstring wideOf(const std::string &utf8)
{
    std::wstring text(utf8.size(), L'\0');
    text.resize(static_cast<size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(),
                                                        static_cast<int>(utf8.size()), text.data(),
                                                        static_cast<int>(text.size()))));
    return text;
}

std::vector<std::string> linesOf(const wchar_t *name)
{
    const HANDLE handle = CreateFileW(file(name).c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return {};
    std::string content;
    char chunk[4096];
    DWORD read = 0;
    while (ReadFile(handle, chunk, sizeof chunk, &read, nullptr) && read)
        content.append(chunk, read);
    CloseHandle(handle);

    std::vector<std::string> lines;
    size_t begin = 0;
    while (begin < content.size()) {
        size_t end = content.find('\n', begin);
        if (end == std::string::npos)
            end = content.size();
        if (end > begin)
            lines.push_back(content.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

/// Splits off the first word; the rest begins behind one blank.
std::pair<std::string, std::string> splitWord(const std::string &line)
{
    const size_t blank = line.find(' ');
    if (blank == std::string::npos)
        return {line, {}};
    return {line.substr(0, blank), line.substr(blank + 1)};
}

} // namespace

Guard::Guard()
{
    EnterCriticalSection(&lock());
}

Guard::~Guard()
{
    LeaveCriticalSection(&lock());
}

std::string narrow(const wchar_t *text)
{
    const int length = lstrlenW(text);
    std::string utf8(static_cast<size_t>(length) * 3 + 1, '\0');
    utf8.resize(static_cast<size_t>(WideCharToMultiByte(
        CP_UTF8, 0, text, length, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

bool calledByProgram(const void *returnAddress)
{
    const auto *image = reinterpret_cast<const BYTE *>(GetModuleHandleW(nullptr));
    const auto *header = reinterpret_cast<const IMAGE_NT_HEADERS *>(
        image + reinterpret_cast<const IMAGE_DOS_HEADER *>(image)->e_lfanew);
    const auto *address = static_cast<const BYTE *>(returnAddress);
    return address >= image && address < image + header->OptionalHeader.SizeOfImage;
}

std::vector<std::wstring> machineTexts(std::string_view word)
{
    std::vector<std::wstring> texts;
    for (const std::string &line : linesOf(L"machine.txt")) {
        const auto [first, rest] = splitWord(line);
        if (first == word)
            texts.push_back(wideOf(rest));
    }
    return texts;
}

std::wstring machineText(std::string_view word, const std::wstring &otherwise)
{
    const auto texts = machineTexts(word);
    return texts.empty() ? otherwise : texts.front();
}

std::optional<DWORD> scriptedFailure(const char *function)
{
    static std::map<std::string, unsigned long> calls;
    const Guard guard;
    const unsigned long call = ++calls[function];
    for (const std::string &line : linesOf(L"machine.txt")) {
        const auto [word, rest] = splitWord(line);
        if (word != "fail")
            continue;
        const auto [name, rule] = splitWord(rest);
        const auto [when, code] = splitWord(rule);
        if (name == function && (when == "*" || std::stoul(when) == call))
            return static_cast<DWORD>(std::stoul(code));
    }
    return std::nullopt;
}

std::vector<std::wstring> activeConnections()
{
    std::vector<std::wstring> names;
    for (const std::string &line : linesOf(L"connections.txt"))
        names.push_back(wideOf(line));
    return names;
}

void setActiveConnections(const std::vector<std::wstring> &names)
{
    std::string content;
    for (const std::wstring &name : names)
        content += narrow(name.c_str()) + '\n';
    const HANDLE handle = CreateFileW(file(L"connections.txt").c_str(), GENERIC_WRITE, 0, nullptr,
                                      CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(handle, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
    CloseHandle(handle);
}

bool isZero(const void *block, size_t bytes)
{
    const auto *begin = static_cast<const BYTE *>(block);
    return begin && std::all_of(begin, begin + bytes, [](BYTE byte) { return byte == 0; });
}

Line &Line::item(const std::string &item)
{
    m_text += ' ' + item;
    return *this;
}

Line &Line::number(const char *name, unsigned long long value)
{
    return item(std::string(name) + '=' + std::to_string(value));
}

Line &Line::hex(const char *name, unsigned long long value)
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "0x%llX", value);
    return item(std::string(name) + '=' + digits);
}

Line &Line::text(const char *name, const wchar_t *value)
{
    return item(std::string(name) + '=' + (value ? '"' + narrow(value) + '"' : "null"));
}

Line &Line::buffer(const char *name, const wchar_t *value, size_t units)
{
    if (!value)
        return text(name, value);
    const size_t length = wcsnlen(value, units);
    return item(std::string(name) + "=\"" + narrow(std::wstring(value, length).c_str()) + '"')
        .zero("behind", value + length, (units - length) * 2);
}

Line &Line::bytes(const char *name, const void *value, size_t count)
{
    std::string escaped;
    for (size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<const unsigned char *>(value)[i];
        char code[8];
        if (byte == '\r')
            escaped += "\\r";
        else if (byte == '\n')
            escaped += "\\n";
        else if (byte >= ' ' && byte < 127)
            escaped += static_cast<char>(byte);
        else {
            std::snprintf(code, sizeof code, "\\x%02X", byte);
            escaped += code;
        }
    }
    return item(std::string(name) + "=\"" + escaped + '"');
}

Line &Line::word(const char *name, const char *value)
{
    return item(std::string(name) + '=' + value);
}

Line &Line::pointer(const char *name, const void *value)
{
    return word(name, value ? "set" : "null");
}

Line &Line::zero(const char *name, const void *block, size_t count)
{
    return word(name, !block ? "null" : isZero(block, count) ? "zero" : "NOT-ZERO");
}

Line &Line::arrow()
{
    return item("->");
}

void Line::write() const
{
    const std::string line = m_text + '\n';
    // The started installer writes into the same file, and Wine appends in two
    // steps.
    const HANDLE turn = CreateMutexW(nullptr, FALSE, L"doubles' calls");
    WaitForSingleObject(turn, INFINITE);
    const HANDLE handle =
        CreateFileW(file(L"calls.log").c_str(), FILE_APPEND_DATA,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(handle, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    CloseHandle(handle);
    ReleaseMutex(turn);
    CloseHandle(turn);
    SetLastError(m_error);
}

bool fails(const char *function, Line &line)
{
    const auto code = scriptedFailure(function);
    if (!code)
        return false;
    line.arrow().number("result", 0).number("error", *code).write();
    SetLastError(*code);
    return true;
}

BOOL went(Line &line, BOOL result)
{
    const DWORD error = GetLastError();
    line.arrow().number("result", result ? 1 : 0);
    if (!result)
        line.number("error", error);
    line.write();
    SetLastError(error);
    return result;
}

void Handles::opened(const void *handle)
{
    const Guard guard;
    m_entries.push_back({handle, static_cast<int>(m_entries.size()) + 1, true});
}

bool Handles::closed(const void *handle)
{
    const Guard guard;
    for (Entry &entry : m_entries) {
        if (entry.handle == handle && entry.isOpen) {
            entry.isOpen = false;
            return true;
        }
    }
    return false;
}

bool Handles::contains(const void *handle) const
{
    const Guard guard;
    return std::any_of(m_entries.begin(), m_entries.end(),
                       [=](const Entry &entry) { return entry.handle == handle && entry.isOpen; });
}

std::string Handles::name(const void *handle) const
{
    const Guard guard;
    // The newest first: the system gives a closed handle's value out again.
    for (auto entry = m_entries.rbegin(); entry != m_entries.rend(); ++entry) {
        if (entry->handle == handle)
            return (entry->isOpen ? m_name : "closed-") + std::to_string(entry->number);
    }
    return "unknown";
}

std::string Handles::open() const
{
    const Guard guard;
    std::string names;
    for (const Entry &entry : m_entries) {
        if (entry.isOpen)
            names += (names.empty() ? "" : ",") + (m_name + std::to_string(entry.number));
    }
    return names.empty() ? "none" : names;
}

} // namespace doubles
