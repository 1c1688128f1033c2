// Double of rasapi32.dll. Words of the machine file:
//   rasdevice TYPE|NAME    a RAS-capable device
//   connectionsizes documented
//                          a record of the connection list has one of the
//                          documented sizes; any other is refused
//   entrysize BYTES        the size of this release's entry record; Windows 7's
//                          unless it is given

#include "tests/windows/doubles/importspy.h"
#include "tests/windows/doubles/recorder.h"

#include "platform/ras.h"

#include <algorithm>
#include <cstring>

using namespace doubles;
using platform::RasConnection;
using platform::RasDeviceInfo;
using platform::RasEntry;

namespace {

constexpr DWORD defaultOptions = 0x01000000 | 0x00200000 | 0x00000308;
constexpr BYTE defaultFill = 0x5A;
constexpr DWORD entrySizeOf7 = 5680;

DWORD entrySize()
{
    return std::stoul(machineText("entrysize", std::to_wstring(entrySizeOf7)));
}

/// Whether this release knows a connection record of that size. The one that the
/// program declares is not documented; what Windows does with it is not known.
bool isConnectionSize(DWORD size)
{
    if (size == platform::RasConnectionSize)
        return machineText("connectionsizes", L"all") != L"documented";
    const DWORD documented[] = {528, 820, 1344, 1360, 1372, 1388};
    return std::count(std::begin(documented), std::end(documented), size) != 0;
}

/// What the system gives for a new entry, as far as the declared record reaches:
/// every byte that is not a field below can be told from one that the program
/// wrote.
void fillDefaults(RasEntry *entry)
{
    const DWORD size = entry->dwSize;
    std::memset(static_cast<void *>(entry), defaultFill, size);
    entry->dwSize = size;
    entry->dwfOptions = defaultOptions;
    entry->szLocalPhoneNumber[0] = 0;
    entry->szDeviceType[0] = 0;
    entry->szDeviceName[0] = 0;
}

template<size_t Units> void copy(wchar_t (&field)[Units], const std::wstring &text)
{
    const size_t length = std::min(text.size(), Units - 1);
    std::copy_n(text.data(), length, field);
    field[length] = 0;
}

struct Field {
    size_t offset;
    size_t bytes;
};

/// Whether everything but the fields that the program sets is as it was given,
/// and what lies behind the declared record is still clear.
bool othersAreDefault(const RasEntry &entry, DWORD bytes)
{
    const Field set[] = {
        {0, 8},
        {offsetof(RasEntry, szLocalPhoneNumber), sizeof entry.szLocalPhoneNumber},
        {offsetof(RasEntry, szDeviceType), sizeof entry.szDeviceType},
        {offsetof(RasEntry, szDeviceName), sizeof entry.szDeviceName},
    };
    const auto *data = reinterpret_cast<const BYTE *>(&entry);
    for (size_t i = 0; i < bytes; ++i) {
        const bool isSet = std::any_of(std::begin(set), std::end(set), [i](const Field &field) {
            return i >= field.offset && i < field.offset + field.bytes;
        });
        if (!isSet && data[i] != (i < entry.dwSize ? defaultFill : 0))
            return false;
    }
    return true;
}

template<size_t Units> bool zeroBehind(const wchar_t (&field)[Units])
{
    const auto length = static_cast<size_t>(lstrlenW(field));
    return isZero(field + length, (Units - length) * 2);
}

DWORD finish(Line &line, DWORD result)
{
    line.write();
    return result;
}

} // namespace

extern "C" {

__declspec(dllexport) DWORD WINAPI
    RasEnumConnectionsW(RasConnection *list, DWORD *bytes, DWORD *count)
{
    Line line("RasEnumConnectionsW");
    line.number("dwSize", list->dwSize)
        .number("lpcb", *bytes)
        .number("count", *count)
        .zero("rest", reinterpret_cast<const BYTE *>(list) + 4, *bytes - 4)
        .arrow();
    if (const auto code = scriptedFailure("RasEnumConnectionsW"))
        return finish(line.number("result", *code), *code);
    const DWORD size = list->dwSize;
    if (!isConnectionSize(size))
        return finish(line.number("result", 632), 632);

    // Records lie one declared size apart; the program's own as it expects them.
    const size_t stride = size == platform::RasConnectionSize ? sizeof(RasConnection) : size;
    const auto names = activeConnections();
    *count = static_cast<DWORD>(names.size());
    const DWORD given = *bytes;
    *bytes = static_cast<DWORD>(names.size() * stride);
    if (*bytes > given)
        return finish(line.number("result", 603), 603);
    for (size_t i = 0; i < names.size(); ++i) {
        RasConnection record = {};
        record.dwSize = size;
        record.hrasconn = reinterpret_cast<HANDLE>(0x7A500000 + i);
        copy(record.szEntryName, names[i]);
        copy(record.szDeviceType, L"modem");
        std::memcpy(reinterpret_cast<BYTE *>(list) + i * stride, &record,
                    std::min<size_t>(size, sizeof record));
    }
    return finish(line.number("result", 0).number("count", *count), 0);
}

__declspec(dllexport) DWORD WINAPI RasHangUpW(HANDLE connection)
{
    Line line("RasHangUpW");
    auto names = activeConnections();
    const size_t index = reinterpret_cast<size_t>(connection) - 0x7A500000;
    line.text("connection", index < names.size() ? names[index].c_str() : nullptr).arrow();
    if (const auto code = scriptedFailure("RasHangUpW"))
        return finish(line.number("result", *code), *code);
    if (index >= names.size())
        return finish(line.number("result", 6), 6);
    names.erase(names.begin() + static_cast<std::ptrdiff_t>(index));
    setActiveConnections(names);
    return finish(line.number("result", 0), 0);
}

__declspec(dllexport) DWORD WINAPI RasEnumDevicesW(RasDeviceInfo *list, DWORD *bytes, DWORD *count)
{
    const auto devices = machineTexts("rasdevice");
    const DWORD needed = static_cast<DWORD>(devices.size() * sizeof(RasDeviceInfo));
    Line line("RasEnumDevicesW");
    if (list)
        line.number("dwSize", list->dwSize)
            .zero("rest", reinterpret_cast<const BYTE *>(list) + 4, *bytes - 4);
    else
        line.word("records", "null");
    line.number("lpcb", *bytes).number("count", *count).arrow();
    if (const auto code = scriptedFailure("RasEnumDevicesW"))
        return finish(line.number("result", *code), *code);
    *count = static_cast<DWORD>(devices.size());
    if (*bytes < needed) {
        *bytes = needed;
        return finish(line.number("result", 603).number("lpcb", needed), 603);
    }
    if (list && list->dwSize != sizeof(RasDeviceInfo))
        return finish(line.number("result", 632), 632);
    for (size_t i = 0; i < devices.size(); ++i) {
        const size_t bar = devices[i].find(L'|');
        copy(list[i].szDeviceType, devices[i].substr(0, bar));
        copy(list[i].szDeviceName, devices[i].substr(bar + 1));
    }
    return finish(line.number("result", 0).number("count", *count), 0);
}

__declspec(dllexport) DWORD WINAPI
    RasGetEntryPropertiesW(LPCWSTR phonebook, LPCWSTR entry, RasEntry *record, DWORD *bytes,
                           BYTE *deviceInfo, DWORD *deviceInfoSize)
{
    const DWORD needed = entrySize();
    Line line("RasGetEntryPropertiesW");
    line.text("phonebook", phonebook).text("entry", entry);
    if (record)
        line.number("dwSize", record->dwSize)
            .zero("rest", reinterpret_cast<const BYTE *>(record) + 4, *bytes - 4);
    else
        line.word("record", "null");
    line.number("size", *bytes)
        .pointer("device", deviceInfo)
        .pointer("deviceSize", deviceInfoSize)
        .arrow();
    if (const auto code = scriptedFailure("RasGetEntryPropertiesW"))
        return finish(line.number("result", *code), *code);
    if (!record || *bytes < needed) {
        *bytes = needed;
        return finish(line.number("result", 603).number("size", needed), 603);
    }
    if (record->dwSize != sizeof(RasEntry) && record->dwSize != needed)
        return finish(line.number("result", 632), 632);
    fillDefaults(record);
    return finish(line.number("result", 0).number("size", *bytes), 0);
}

__declspec(dllexport) DWORD WINAPI
    RasSetEntryPropertiesW(LPCWSTR phonebook, LPCWSTR entry, RasEntry *record, DWORD bytes,
                           BYTE *deviceInfo, DWORD deviceInfoSize)
{
    Line line("RasSetEntryPropertiesW");
    line.text("phonebook", phonebook)
        .buffer("entry", entry, 10000)
        .number("size", bytes)
        .number("dwSize", record->dwSize)
        .hex("options", record->dwfOptions)
        .text("number", record->szLocalPhoneNumber)
        .text("type", record->szDeviceType)
        .text("device", record->szDeviceName)
        .word("fieldEnds", zeroBehind(record->szLocalPhoneNumber) &&
                                   zeroBehind(record->szDeviceType) &&
                                   zeroBehind(record->szDeviceName)
                               ? "zero"
                               : "NOT-ZERO")
        .word("others", othersAreDefault(*record, bytes) ? "default" : "CHANGED")
        .pointer("deviceInfo", deviceInfo)
        .number("deviceInfoSize", deviceInfoSize)
        .arrow();
    const DWORD result = scriptedFailure("RasSetEntryPropertiesW").value_or(0);
    return finish(line.number("result", result), result);
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void *)
{
    // This library is among the program's imports, so it is there before the
    // first line of the program runs.
    if (reason == DLL_PROCESS_ATTACH)
        watchImports();
    if (reason == DLL_PROCESS_DETACH)
        reportOpenHandles();
    return TRUE;
}
}
