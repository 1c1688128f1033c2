#include "tests/windows/doubles/importspy.h"

#include "tests/windows/doubles/recorder.h"
#include "tests/windows/doubles/startspy.h"

#include <cstring>
#include <map>

using namespace doubles;

namespace {

Handles ports("port");
Handles events("event");
Handles processes("process");
Handles threads("thread");
Handles blocks("block");
std::map<HANDLE, std::string> newEvents; // as made, before a port uses them
DCB reported = {};                       // the last answer of GetCommState
HKEY attachedKey = nullptr;

bool is(const char *name, std::initializer_list<const char *> names)
{
    for (const char *known : names) {
        if (std::strcmp(name, known) == 0)
            return true;
    }
    return false;
}

bool isBoundLibrary(const wchar_t *name)
{
    return name && (lstrcmpiW(name, L"cfgmgr32.dll") == 0 || lstrcmpiW(name, L"newdev.dll") == 0);
}

std::map<HMODULE, std::string> boundLibraries;

/// A record with its event. At its first use all of it is clear; later the
/// system has written to it, but never to the offset.
Line &overlapped(Line &line, const OVERLAPPED *record)
{
    const Guard guard;
    const auto made = newEvents.find(record->hEvent);
    if (made != newEvents.end()) {
        events.opened(record->hEvent);
        Line("event").item(events.name(record->hEvent)).item(made->second).write();
        newEvents.erase(made);
        line.zero("record", record, offsetof(OVERLAPPED, hEvent));
    } else {
        line.zero("offset", &record->Offset, sizeof record->Offset + sizeof record->OffsetHigh);
    }
    return line.item(events.name(record->hEvent));
}

HANDLE WINAPI spyCreateFileW(LPCWSTR name, DWORD access, DWORD share,
                             LPSECURITY_ATTRIBUTES security, DWORD disposition, DWORD flags,
                             HANDLE pattern)
{
    if (std::wcsncmp(name, L"\\\\.\\COM", 7) != 0)
        return CreateFileW(name, access, share, security, disposition, flags, pattern);
    Line line("CreateFileW");
    line.buffer("name", name, 100)
        .hex("access", access)
        .number("share", share)
        .pointer("security", security)
        .number("disposition", disposition)
        .hex("flags", flags)
        .pointer("template", pattern);
    const auto code = scriptedFailure("CreateFileW");
    const HANDLE port =
        code ? INVALID_HANDLE_VALUE
             : CreateFileW(name, access, share, security, disposition, flags, pattern);
    const DWORD error = code.value_or(GetLastError());
    if (port == INVALID_HANDLE_VALUE) {
        line.arrow().word("result", "invalid").number("error", error).write();
    } else {
        ports.opened(port);
        line.arrow().item(ports.name(port)).write();
    }
    SetLastError(error);
    return port;
}

BOOL WINAPI spyGetCommState(HANDLE port, DCB *settings)
{
    Line line("GetCommState");
    line.item(ports.name(port)).zero("record", settings, sizeof *settings);
    if (fails("GetCommState", line))
        return FALSE;
    const BOOL result = GetCommState(port, settings);
    reported = *settings;
    return went(line, result);
}

BOOL WINAPI spySetCommState(HANDLE port, DCB *settings)
{
    DCB others = *settings;
    others.BaudRate = reported.BaudRate;
    others.ByteSize = reported.ByteSize;
    others.Parity = reported.Parity;
    others.StopBits = reported.StopBits;
    Line line("SetCommState");
    line.item(ports.name(port))
        .number("BaudRate", settings->BaudRate)
        .number("ByteSize", settings->ByteSize)
        .number("Parity", settings->Parity)
        .number("StopBits", settings->StopBits)
        .word("others",
              std::memcmp(&others, &reported, sizeof others) == 0 ? "as-reported" : "CHANGED");
    if (fails("SetCommState", line))
        return FALSE;
    return went(line, SetCommState(port, settings));
}

BOOL WINAPI spySetCommTimeouts(HANDLE port, COMMTIMEOUTS *timeouts)
{
    Line line("SetCommTimeouts");
    line.item(ports.name(port))
        .hex("ReadInterval", timeouts->ReadIntervalTimeout)
        .number("ReadMultiplier", timeouts->ReadTotalTimeoutMultiplier)
        .number("ReadConstant", timeouts->ReadTotalTimeoutConstant)
        .number("WriteMultiplier", timeouts->WriteTotalTimeoutMultiplier)
        .number("WriteConstant", timeouts->WriteTotalTimeoutConstant);
    if (fails("SetCommTimeouts", line))
        return FALSE;
    return went(line, SetCommTimeouts(port, timeouts));
}

BOOL WINAPI spySetCommMask(HANDLE port, DWORD mask)
{
    Line line("SetCommMask");
    line.item(ports.name(port)).number("mask", mask);
    if (fails("SetCommMask", line))
        return FALSE;
    return went(line, SetCommMask(port, mask));
}

BOOL WINAPI spyWaitCommEvent(HANDLE port, DWORD *mask, OVERLAPPED *record)
{
    Line line("WaitCommEvent");
    line.item(ports.name(port));
    overlapped(line, record).pointer("mask", mask);
    if (fails("WaitCommEvent", line))
        return FALSE;
    return went(line, WaitCommEvent(port, mask, record));
}

BOOL WINAPI spyReadFile(HANDLE port, void *buffer, DWORD bytes, DWORD *read, OVERLAPPED *record)
{
    if (!ports.contains(port))
        return ReadFile(port, buffer, bytes, read, record);
    Line line("ReadFile");
    line.item(ports.name(port)).number("bytes", bytes).zero("buffer", buffer, bytes);
    line.number("read", *read);
    overlapped(line, record);
    const auto code = scriptedFailure("ReadFile");
    if (code && code != ERROR_IO_PENDING) {
        SetLastError(*code);
        return went(line, FALSE);
    }
    const BOOL result = ReadFile(port, buffer, bytes, read, record);
    const DWORD error = GetLastError();
    if (code) {
        // A driver that lets a read pend which it finishes on the spot.
        *read = 0;
        SetLastError(*code);
        return went(line, FALSE);
    }
    if (!result && error == ERROR_IO_PENDING)
        return went(line, FALSE);
    // Wine tells an empty pseudo-terminal as a failure, Windows as a success.
    line.arrow().bytes("got", buffer, *read).write();
    SetLastError(error);
    return result;
}

BOOL WINAPI spyWriteFile(HANDLE port, const void *buffer, DWORD bytes, DWORD *written,
                         OVERLAPPED *record)
{
    if (!ports.contains(port))
        return WriteFile(port, buffer, bytes, written, record);
    Line line("WriteFile");
    line.item(ports.name(port)).bytes("data", buffer, bytes).number("count", bytes);
    overlapped(line, record);
    const auto code = scriptedFailure("WriteFile");
    if (code == ERROR_IO_PENDING)
        // A slow line: the bytes are under way, and the outcome is asked for.
        WriteFile(port, buffer, bytes, written, record);
    if (code) {
        SetLastError(*code);
        return went(line, FALSE);
    }
    return went(line, WriteFile(port, buffer, bytes, written, record));
}

BOOL WINAPI spyGetOverlappedResult(HANDLE port, OVERLAPPED *record, DWORD *count, BOOL wait)
{
    if (!ports.contains(port))
        return GetOverlappedResult(port, record, count, wait);
    Line line("GetOverlappedResult");
    line.item(ports.name(port));
    overlapped(line, record).number("wait", wait);
    if (fails("GetOverlappedResult", line))
        return FALSE;
    return went(line, GetOverlappedResult(port, record, count, wait));
}

HANDLE WINAPI spyCreateEventW(LPSECURITY_ATTRIBUTES security, BOOL manual, BOOL initial,
                              LPCWSTR name)
{
    if (name && std::wcsncmp(name, L"Local\\", 6) == 0)
        return createNamedEvent(security, manual, initial, name);
    // The toolkit's events are automatic or made before a port is open; an
    // event for a port is known by its use.
    if (ports.open() != "none" && manual && calledByProgram(__builtin_return_address(0))) {
        if (const auto code = scriptedFailure("CreateEventW")) {
            Line("CreateEventW").arrow().word("result", "null").number("error", *code).write();
            SetLastError(*code);
            return nullptr;
        }
    }
    const HANDLE event = CreateEventW(security, manual, initial, name);
    const DWORD error = GetLastError();
    {
        const Guard guard;
        newEvents[event] = std::string(manual ? "manual" : "automatic") +
                           (initial ? " signalled" : " unsignalled") +
                           (name ? " named" : " unnamed") + (security ? " secured" : "");
    }
    SetLastError(error);
    return event;
}

DWORD WINAPI spyWaitForSingleObject(HANDLE handle, DWORD milliseconds)
{
    if (!events.contains(handle))
        return WaitForSingleObject(handle, milliseconds);
    Line line("WaitForSingleObject");
    line.item(events.name(handle)).hex("milliseconds", milliseconds);
    if (const auto code = scriptedFailure("WaitForSingleObject")) {
        line.arrow().hex("result", WAIT_FAILED).number("error", *code).write();
        SetLastError(*code);
        return WAIT_FAILED;
    }
    const DWORD result = WaitForSingleObject(handle, milliseconds);
    const DWORD error = GetLastError();
    line.arrow().number("result", result).write();
    SetLastError(error);
    return result;
}

BOOL WINAPI spyCloseHandle(HANDLE handle)
{
    for (Handles *known : {&ports, &events, &namedEvents(), &processes, &threads}) {
        if (!known->contains(handle))
            continue;
        Line line("CloseHandle");
        line.item(known->name(handle));
        known->closed(handle);
        return went(line, CloseHandle(handle));
    }
    if (!handle) {
        Line line("CloseHandle");
        return went(line.item("null"), CloseHandle(handle));
    }
    {
        const Guard guard;
        newEvents.erase(handle);
    }
    return CloseHandle(handle);
}

BOOL WINAPI spyCreateProcessW(LPCWSTR application, LPWSTR commandLine,
                              LPSECURITY_ATTRIBUTES processSecurity,
                              LPSECURITY_ATTRIBUTES threadSecurity, BOOL inherit, DWORD flags,
                              void *environment, LPCWSTR directory, STARTUPINFOW *startup,
                              PROCESS_INFORMATION *process)
{
    Line line("CreateProcessW");
    line.buffer("application", application, 261)
        .buffer("commandLine", commandLine, 32)
        .pointer("processSecurity", processSecurity)
        .pointer("threadSecurity", threadSecurity)
        .number("inherit", inherit)
        .number("flags", flags)
        .pointer("environment", environment)
        .text("directory", directory)
        .number("cb", startup->cb)
        .zero("rest", reinterpret_cast<const BYTE *>(startup) + 4, sizeof *startup - 4);
    if (fails("CreateProcessW", line))
        return FALSE;
    const BOOL result = CreateProcessW(application, commandLine, processSecurity, threadSecurity,
                                       inherit, flags, environment, directory, startup, process);
    if (result) {
        processes.opened(process->hProcess);
        threads.opened(process->hThread);
    }
    return went(line, result);
}

LONG WINAPI spyRegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE *data,
                              DWORD bytes)
{
    if (!name || lstrcmpW(name, L"AttachedTo") != 0)
        return RegSetValueExW(key, name, reserved, type, data, bytes);
    attachedKey = key;
    Line line("RegSetValueExW");
    line.text("name", name)
        .number("reserved", reserved)
        .number("type", type)
        .text("data", reinterpret_cast<const wchar_t *>(data))
        .number("bytes", bytes)
        .arrow();
    const auto code = scriptedFailure("RegSetValueExW");
    const LONG result =
        code ? static_cast<LONG>(*code) : RegSetValueExW(key, name, reserved, type, data, bytes);
    line.number("result", static_cast<DWORD>(result)).write();
    return result;
}

LONG WINAPI spyRegCloseKey(HKEY key)
{
    const bool isDriverKey = key && key == attachedKey;
    const LONG result = RegCloseKey(key);
    if (isDriverKey) {
        attachedKey = nullptr;
        Line("RegCloseKey").item("driver key").arrow().number("result", result).write();
    }
    return result;
}

BOOL WINAPI spyGetVersionExW(OSVERSIONINFOW *version)
{
    const DWORD size = version->dwOSVersionInfoSize;
    Line line("GetVersionExW");
    line.number("size", size)
        .zero("rest", reinterpret_cast<const BYTE *>(version) + 4,
              size == sizeof(OSVERSIONINFOEXW) || size == sizeof(OSVERSIONINFOW) ? size - 4 : 0);
    if (fails("GetVersionExW", line))
        return FALSE;
    const BOOL result = GetVersionExW(version);
    line.arrow().number("major", version->dwMajorVersion).number("minor", version->dwMinorVersion);
    line.write();
    return result;
}

HMODULE WINAPI spyLoadLibraryW(LPCWSTR name)
{
    const HMODULE library = LoadLibraryW(name);
    const DWORD error = GetLastError();
    if (isBoundLibrary(name)) {
        Line line("LoadLibraryW");
        line.text("name", name).arrow();
        if (library) {
            const Guard guard;
            boundLibraries[library] = narrow(name);
            line.word("result", "module");
        } else {
            line.word("result", "null").number("error", error);
        }
        line.write();
    }
    SetLastError(error);
    return library;
}

FARPROC WINAPI spyGetProcAddress(HMODULE module, LPCSTR name)
{
    FARPROC address = GetProcAddress(module, name);
    const DWORD error = GetLastError();
    // The one function that the program can do without.
    if (HIWORD(name) && is(name, {"GetNativeSystemInfo"}) && scriptedFailure(name))
        address = nullptr;
    if (HIWORD(name) && is(name, {"CM_Locate_DevNode_ExA", "CM_Reenumerate_DevNode_Ex",
                                  "UpdateDriverForPlugAndPlayDevicesW", "GetNativeSystemInfo"})) {
        const Guard guard;
        const auto library = boundLibraries.find(module);
        Line line("GetProcAddress");
        line.item(library != boundLibraries.end()               ? library->second
                  : module == GetModuleHandleW(L"kernel32.dll") ? "kernel32.dll"
                                                                : "other")
            .item(name)
            .arrow()
            .word("result", address ? "address" : "null")
            .write();
    }
    SetLastError(error);
    return address;
}

BOOL WINAPI spyFreeLibrary(HMODULE module)
{
    {
        const Guard guard;
        const auto library = boundLibraries.find(module);
        if (library != boundLibraries.end()) {
            Line("FreeLibrary").item(library->second).write();
            boundLibraries.erase(library);
        }
    }
    return FreeLibrary(module);
}

int WINAPI spyGetSystemMetrics(int index)
{
    const int value = GetSystemMetrics(index);
    if (index == 89)
        Line("GetSystemMetrics").number("index", 89).write();
    return value;
}

void *WINAPI spyHeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes)
{
    if (!(flags & HEAP_ZERO_MEMORY) || heap != GetProcessHeap())
        return HeapAlloc(heap, flags, bytes);
    Line line("HeapAlloc");
    line.number("flags", flags).number("bytes", bytes).arrow();
    if (scriptedFailure("HeapAlloc")) {
        line.word("result", "null").write();
        return nullptr;
    }
    void *block = HeapAlloc(heap, flags, bytes);
    blocks.opened(block);
    line.item(blocks.name(block)).write();
    return block;
}

BOOL WINAPI spyHeapFree(HANDLE heap, DWORD flags, void *block)
{
    if (blocks.contains(block)) {
        Line("HeapFree").number("flags", flags).item(blocks.name(block)).write();
        blocks.closed(block);
    }
    return HeapFree(heap, flags, block);
}

HLOCAL WINAPI spyLocalAlloc(UINT flags, SIZE_T bytes)
{
    Line line("LocalAlloc");
    line.number("flags", flags).number("bytes", bytes).arrow();
    if (scriptedFailure("LocalAlloc")) {
        line.word("result", "null").write();
        return nullptr;
    }
    const HLOCAL block = LocalAlloc(flags, bytes);
    blocks.opened(block);
    line.item(blocks.name(block)).write();
    return block;
}

HLOCAL WINAPI spyLocalFree(HLOCAL block)
{
    if (blocks.contains(block)) {
        Line("LocalFree").item(blocks.name(block)).write();
        blocks.closed(block);
    }
    return LocalFree(block);
}

struct Watched {
    const char *name;
    void *spy;
};

template<typename Function> Watched watch(const char *name, Function *spy)
{
    return {name, reinterpret_cast<void *>(spy)};
}

#define WATCH(function) watch(#function, spy##function)

const Watched watched[] = {
    WATCH(CreateFileW),
    WATCH(GetCommState),
    WATCH(SetCommState),
    WATCH(SetCommTimeouts),
    WATCH(SetCommMask),
    WATCH(WaitCommEvent),
    WATCH(ReadFile),
    WATCH(WriteFile),
    WATCH(GetOverlappedResult),
    WATCH(CreateEventW),
    WATCH(WaitForSingleObject),
    WATCH(CloseHandle),
    WATCH(CreateProcessW),
    WATCH(RegSetValueExW),
    WATCH(RegCloseKey),
    WATCH(GetVersionExW),
    WATCH(LoadLibraryW),
    WATCH(GetProcAddress),
    WATCH(FreeLibrary),
    WATCH(GetSystemMetrics),
    WATCH(HeapAlloc),
    WATCH(HeapFree),
    WATCH(LocalAlloc),
    WATCH(LocalFree),
    WATCH(SetEvent),
    WATCH(AllowSetForegroundWindow),
    WATCH(ConvertStringSecurityDescriptorToSecurityDescriptorW),
    WATCH(IsUserAnAdmin),
};

} // namespace

namespace doubles {

void watchImports()
{
    auto *image = reinterpret_cast<BYTE *>(GetModuleHandleW(nullptr));
    const auto *header = reinterpret_cast<const IMAGE_NT_HEADERS *>(
        image + reinterpret_cast<const IMAGE_DOS_HEADER *>(image)->e_lfanew);
    const DWORD imports =
        header->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    auto *library = reinterpret_cast<const IMAGE_IMPORT_DESCRIPTOR *>(image + imports);
    for (; library->Name; ++library) {
        const auto *name =
            reinterpret_cast<const IMAGE_THUNK_DATA *>(image + library->OriginalFirstThunk);
        auto *address = reinterpret_cast<IMAGE_THUNK_DATA *>(image + library->FirstThunk);
        for (; name->u1.AddressOfData; ++name, ++address) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                continue;
            const auto *import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(image + name->u1.AddressOfData);
            for (const Watched &function : watched) {
                if (std::strcmp(reinterpret_cast<const char *>(import->Name), function.name) != 0)
                    continue;
                DWORD protection = 0;
                VirtualProtect(&address->u1.Function, sizeof(void *), PAGE_READWRITE, &protection);
                address->u1.Function = reinterpret_cast<ULONGLONG>(function.spy);
                VirtualProtect(&address->u1.Function, sizeof(void *), protection, &protection);
            }
        }
    }
}

void reportOpenHandles()
{
    Line("exit")
        .item("ports")
        .item(ports.open())
        .item("events")
        .item(events.open())
        .item("processes")
        .item(processes.open())
        .item("threads")
        .item(threads.open())
        .item("blocks")
        .item(blocks.open())
        .write();
}

} // namespace doubles
