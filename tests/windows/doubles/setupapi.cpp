// Double of setupapi.dll. Calls that do not come from the program go on to
// Wine's library: its window manager asks for the screen's device through
// setupapi in the same process. Words of the machine file:
//   port NAME           a present device of the Ports class, by friendly name
//   driverkey exists    a new device has a driver key already
//   selecteddriver yes  a driver counts as selected

#include "tests/windows/doubles/recorder.h"

#include "platform/setupapi.h"

#include <algorithm>
#include <cstring>

using namespace doubles;
using platform::DeviceInfoData;
using platform::DriverInfoData;
using platform::Guid;

namespace {

constexpr Guid modemClass = {
    0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};
constexpr wchar_t driverKey[] = L"Software\\Doubles\\DriverKey";
constexpr wchar_t instanceId[] = L"ROOT\\MODEM\\0000";
constexpr ULONG_PTR newDevice = 0xDE710000;
constexpr ULONG_PTR portDevice = 0xDE700000;
constexpr DWORD noSuchDevice = 0xE000020B;

Handles sets("set");
HKEY createdKey = nullptr;

const void *const invalid = platform::invalidHandle();

/// A function of Wine's own library, by its full path: the short name is ours.
template<typename Function> Function wines(const char *name)
{
    static const HMODULE library = LoadLibraryW(L"C:\\windows\\system32\\setupapi.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void *>(GetProcAddress(library, name)));
}

#define PASS_ON_FOREIGN_CALLS(function, ...)                                                       \
    if (!calledByProgram(__builtin_return_address(0)))                                             \
    return wines<decltype(&function)>(#function)(__VA_ARGS__)

/// Writes the line with the result, failed as the machine file wants it.
template<typename Result> Result finish(Line &line, Result result, Result failed, DWORD error = 0)
{
    if (result == failed)
        line.number("error", error);
    line.write();
    if (result == failed)
        SetLastError(error);
    return result;
}

BOOL yes(Line &line)
{
    return finish<BOOL>(line.number("result", 1), TRUE, FALSE);
}

BOOL no(Line &line, DWORD error)
{
    return finish<BOOL>(line.number("result", 0), FALSE, FALSE, error);
}

std::string className(const Guid *guid)
{
    if (!guid)
        return "null";
    if (*guid == platform::PortsClassGuid)
        return "Ports";
    return *guid == modemClass ? "Modem" : "OTHER";
}

std::string deviceName(const DeviceInfoData *device)
{
    if (!device)
        return "null";
    if (device->Reserved >= newDevice)
        return "new";
    return device->Reserved >= portDevice ? std::to_string(device->Reserved - portDevice)
                                          : "UNKNOWN";
}

Line &set(Line &line, HANDLE handle)
{
    return line.item(sets.name(handle));
}

Line &setAndDevice(Line &line, HANDLE handle, const DeviceInfoData *device)
{
    return set(line, handle)
        .word("device", deviceName(device).c_str())
        .number("cbSize", device ? device->cbSize : 0);
}

bool fileExists(const wchar_t *path)
{
    return path && GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

HANDLE newSet(Line &line)
{
    static ULONG_PTR next = 0x5E700000;
    const Guard guard;
    const HANDLE made = reinterpret_cast<HANDLE>(++next);
    sets.opened(made);
    line.item(sets.name(made)).write();
    return made;
}

/// What the program left in the new device's driver key, and whether it still
/// holds the key open.
std::string driverKeyContent()
{
    if (!createdKey)
        return "driverKey=none";
    BYTE data[200] = {};
    DWORD size = sizeof data;
    DWORD type = 0;
    const bool isOpen = RegQueryValueExW(createdKey, L"AttachedTo", nullptr, nullptr, nullptr,
                                         nullptr) != ERROR_INVALID_HANDLE;
    if (RegGetValueW(HKEY_CURRENT_USER, driverKey, L"AttachedTo", RRF_RT_ANY, &type, data, &size))
        return std::string("AttachedTo=none key=") + (isOpen ? "open" : "closed");
    return "AttachedTo=\"" + narrow(reinterpret_cast<wchar_t *>(data)) +
           "\" type=" + std::to_string(type) + " bytes=" + std::to_string(size) +
           " key=" + (isOpen ? "open" : "closed");
}

} // namespace

extern "C" {

#define EXPORT __declspec(dllexport)

EXPORT BOOL WINAPI SetupCopyOEMInfW(const WCHAR *source, const WCHAR *location, DWORD mediaType,
                                    DWORD style, WCHAR *destination, DWORD destinationSize,
                                    DWORD *required, WCHAR **component)
{
    PASS_ON_FOREIGN_CALLS(SetupCopyOEMInfW, source, location, mediaType, style, destination,
                          destinationSize, required, component);
    Line line("SetupCopyOEMInfW");
    line.buffer("source", source, 261)
        .buffer("location", location, 261)
        .number("media", mediaType)
        .hex("style", style)
        .pointer("destination", destination)
        .number("destinationSize", destinationSize)
        .pointer("required", required)
        .pointer("component", component)
        .arrow();
    if (const auto code = scriptedFailure("SetupCopyOEMInfW"))
        return no(line, *code);
    return fileExists(source) ? yes(line) : no(line, ERROR_FILE_NOT_FOUND);
}

EXPORT BOOL WINAPI SetupDiGetINFClassW(const WCHAR *inf, Guid *classGuid, WCHAR *name,
                                       DWORD nameSize, DWORD *required)
{
    PASS_ON_FOREIGN_CALLS(SetupDiGetINFClassW, inf, classGuid, name, nameSize, required);
    Line line("SetupDiGetINFClassW");
    line.buffer("inf", inf, 261)
        .zero("name", name, 200)
        .number("nameSize", nameSize)
        .pointer("required", required)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiGetINFClassW"))
        return no(line, *code);
    if (!fileExists(inf))
        return no(line, ERROR_FILE_NOT_FOUND);
    *classGuid = modemClass;
    lstrcpyW(name, L"Modem");
    return yes(line);
}

EXPORT HANDLE WINAPI SetupDiGetClassDevsW(const Guid *classGuid, const WCHAR *enumerator,
                                          HWND parent, DWORD flags)
{
    PASS_ON_FOREIGN_CALLS(SetupDiGetClassDevsW, classGuid, enumerator, parent, flags);
    Line line("SetupDiGetClassDevsW");
    line.word("class", className(classGuid).c_str())
        .text("enumerator", enumerator)
        .pointer("parent", parent)
        .number("flags", flags)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiGetClassDevsW"))
        return finish(line.word("result", "invalid"), const_cast<HANDLE>(invalid),
                      const_cast<HANDLE>(invalid), *code);
    return newSet(line);
}

EXPORT HANDLE WINAPI SetupDiCreateDeviceInfoList(const Guid *classGuid, HWND parent)
{
    PASS_ON_FOREIGN_CALLS(SetupDiCreateDeviceInfoList, classGuid, parent);
    Line line("SetupDiCreateDeviceInfoList");
    line.word("class", className(classGuid).c_str()).pointer("parent", parent).arrow();
    if (const auto code = scriptedFailure("SetupDiCreateDeviceInfoList"))
        return finish(line.word("result", "invalid"), const_cast<HANDLE>(invalid),
                      const_cast<HANDLE>(invalid), *code);
    return newSet(line);
}

EXPORT BOOL WINAPI SetupDiDestroyDeviceInfoList(HANDLE handle)
{
    PASS_ON_FOREIGN_CALLS(SetupDiDestroyDeviceInfoList, handle);
    Line line("SetupDiDestroyDeviceInfoList");
    set(line, handle).arrow();
    if (const auto code = scriptedFailure("SetupDiDestroyDeviceInfoList"))
        return no(line, *code);
    return sets.closed(handle) ? yes(line) : no(line, ERROR_INVALID_HANDLE);
}

EXPORT BOOL WINAPI SetupDiEnumDeviceInfo(HANDLE handle, DWORD index, DeviceInfoData *device)
{
    PASS_ON_FOREIGN_CALLS(SetupDiEnumDeviceInfo, handle, index, device);
    Line line("SetupDiEnumDeviceInfo");
    set(line, handle).number("index", index).number("cbSize", device->cbSize).arrow();
    if (const auto code = scriptedFailure("SetupDiEnumDeviceInfo"))
        return no(line, *code);
    if (device->cbSize != sizeof *device)
        return no(line, ERROR_INVALID_USER_BUFFER);
    if (index >= machineTexts("port").size())
        return no(line, ERROR_NO_MORE_ITEMS);
    device->ClassGuid = platform::PortsClassGuid;
    device->DevInst = index + 1;
    device->Reserved = portDevice + index;
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiGetDeviceRegistryPropertyW(HANDLE handle, DeviceInfoData *device,
                                                     DWORD property, DWORD *type, BYTE *buffer,
                                                     DWORD size, DWORD *required)
{
    PASS_ON_FOREIGN_CALLS(SetupDiGetDeviceRegistryPropertyW, handle, device, property, type, buffer,
                          size, required);
    Line line("SetupDiGetDeviceRegistryPropertyW");
    setAndDevice(line, handle, device)
        .number("property", property)
        .pointer("type", type)
        .number("size", size)
        // The program's block has twice the bytes that it tells of.
        .zero("buffer", buffer, size * 2)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiGetDeviceRegistryPropertyW"))
        return no(line, *code);
    const auto names = machineTexts("port");
    const size_t index = device->Reserved - portDevice;
    if (index >= names.size())
        return no(line, noSuchDevice);
    const DWORD bytes = static_cast<DWORD>(names[index].size() * 2 + 2);
    *required = bytes;
    if (size < bytes)
        return no(line, ERROR_INSUFFICIENT_BUFFER);
    *type = REG_SZ;
    std::memcpy(buffer, names[index].c_str(), bytes);
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiSetDeviceRegistryPropertyW(HANDLE handle, DeviceInfoData *device,
                                                     DWORD property, const BYTE *buffer, DWORD size)
{
    PASS_ON_FOREIGN_CALLS(SetupDiSetDeviceRegistryPropertyW, handle, device, property, buffer,
                          size);
    Line line("SetupDiSetDeviceRegistryPropertyW");
    setAndDevice(line, handle, device).number("property", property).number("size", size);
    std::string text;
    for (DWORD i = 0; i + 1 < size; i += 2)
        text += buffer[i] ? static_cast<char>(buffer[i]) : '|';
    line.word("value", text.c_str()).arrow();
    if (const auto code = scriptedFailure("SetupDiSetDeviceRegistryPropertyW"))
        return no(line, *code);
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiCreateDeviceInfoW(HANDLE handle, const WCHAR *name, const Guid *classGuid,
                                            const WCHAR *description, HWND parent, DWORD flags,
                                            DeviceInfoData *device)
{
    PASS_ON_FOREIGN_CALLS(SetupDiCreateDeviceInfoW, handle, name, classGuid, description, parent,
                          flags, device);
    Line line("SetupDiCreateDeviceInfoW");
    set(line, handle)
        .text("name", name)
        .word("class", className(classGuid).c_str())
        .text("description", description)
        .pointer("parent", parent)
        .number("flags", flags)
        .number("cbSize", device->cbSize)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiCreateDeviceInfoW"))
        return no(line, *code);
    device->ClassGuid = *classGuid;
    device->DevInst = 99;
    device->Reserved = newDevice;
    RegDeleteTreeW(HKEY_CURRENT_USER, driverKey);
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiGetDeviceInstanceIdW(HANDLE handle, DeviceInfoData *device, WCHAR *id,
                                               DWORD size, DWORD *required)
{
    PASS_ON_FOREIGN_CALLS(SetupDiGetDeviceInstanceIdW, handle, device, id, size, required);
    Line line("SetupDiGetDeviceInstanceIdW");
    setAndDevice(line, handle, device).number("size", size).arrow();
    *required = lstrlenW(instanceId) + 1;
    if (const auto code = scriptedFailure("SetupDiGetDeviceInstanceIdW"))
        return no(line, *code);
    if (size < *required)
        return no(line, ERROR_INSUFFICIENT_BUFFER);
    lstrcpyW(id, instanceId);
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiRegisterDeviceInfo(HANDLE handle, DeviceInfoData *device, DWORD flags,
                                             void *compare, void *context,
                                             DeviceInfoData *duplicate)
{
    PASS_ON_FOREIGN_CALLS(SetupDiRegisterDeviceInfo, handle, device, flags, compare, context,
                          duplicate);
    Line line("SetupDiRegisterDeviceInfo");
    setAndDevice(line, handle, device)
        .number("flags", flags)
        .pointer("compare", compare)
        .pointer("context", context)
        .pointer("duplicate", duplicate)
        .item(driverKeyContent())
        .arrow();
    if (const auto code = scriptedFailure("SetupDiRegisterDeviceInfo"))
        return no(line, *code);
    return yes(line);
}

EXPORT BOOL WINAPI SetupDiCallClassInstaller(UINT function, HANDLE handle, DeviceInfoData *device)
{
    PASS_ON_FOREIGN_CALLS(SetupDiCallClassInstaller, function, handle, device);
    Line line("SetupDiCallClassInstaller");
    line.number("function", function);
    setAndDevice(line, handle, device).arrow();
    if (const auto code = scriptedFailure("SetupDiCallClassInstaller"))
        return no(line, *code);
    return yes(line);
}

EXPORT HKEY WINAPI SetupDiOpenDevRegKey(HANDLE handle, DeviceInfoData *device, DWORD scope,
                                        DWORD profile, DWORD keyType, REGSAM access)
{
    PASS_ON_FOREIGN_CALLS(SetupDiOpenDevRegKey, handle, device, scope, profile, keyType, access);
    const auto failed = reinterpret_cast<HKEY>(const_cast<void *>(invalid));
    Line line("SetupDiOpenDevRegKey");
    setAndDevice(line, handle, device)
        .number("scope", scope)
        .number("profile", profile)
        .number("keyType", keyType)
        .hex("access", access)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiOpenDevRegKey"))
        return finish(line.word("result", "invalid"), failed, failed, *code);
    if (machineText("driverkey", L"") != L"exists")
        return finish(line.word("result", "invalid"), failed, failed,
                      static_cast<DWORD>(platform::ErrorKeyDoesNotExist));
    HKEY key = nullptr;
    RegCreateKeyExW(HKEY_CURRENT_USER, driverKey, 0, nullptr, 0, access, nullptr, &key, nullptr);
    return finish(line.word("result", "key"), key, failed);
}

EXPORT HKEY WINAPI SetupDiCreateDevRegKeyW(HANDLE handle, DeviceInfoData *device, DWORD scope,
                                           DWORD profile, DWORD keyType, void *inf,
                                           const WCHAR *section)
{
    PASS_ON_FOREIGN_CALLS(SetupDiCreateDevRegKeyW, handle, device, scope, profile, keyType, inf,
                          section);
    const auto failed = reinterpret_cast<HKEY>(const_cast<void *>(invalid));
    Line line("SetupDiCreateDevRegKeyW");
    setAndDevice(line, handle, device)
        .number("scope", scope)
        .number("profile", profile)
        .number("keyType", keyType)
        .pointer("inf", inf)
        .text("section", section)
        .arrow();
    if (const auto code = scriptedFailure("SetupDiCreateDevRegKeyW"))
        return finish(line.word("result", "invalid"), failed, failed, *code);
    // A real key, so that the program's write and close are real as well.
    RegCreateKeyExW(HKEY_CURRENT_USER, driverKey, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                    &createdKey, nullptr);
    return finish(line.word("result", "key"), createdKey, failed);
}

EXPORT BOOL WINAPI SetupDiGetSelectedDriverW(HANDLE handle, DeviceInfoData *device,
                                             DriverInfoData *driver)
{
    PASS_ON_FOREIGN_CALLS(SetupDiGetSelectedDriverW, handle, device, driver);
    Line line("SetupDiGetSelectedDriverW");
    setAndDevice(line, handle, device)
        .number("driverSize", driver->cbSize)
        .zero("rest", reinterpret_cast<const BYTE *>(driver) + 4, sizeof *driver - 4)
        .arrow();
    if (machineText("selecteddriver", L"no") == L"yes")
        return yes(line);
    return no(line, driver->cbSize == 0 ? ERROR_INVALID_USER_BUFFER
                                        : static_cast<DWORD>(platform::ErrorNoDriverSelected));
}

// Called by Wine only.
EXPORT BOOL WINAPI SetupDiOpenDeviceInfoW(HANDLE handle, const WCHAR *id, HWND parent, DWORD flags,
                                          void *device)
{
    return wines<decltype(&SetupDiOpenDeviceInfoW)>("SetupDiOpenDeviceInfoW")(handle, id, parent,
                                                                              flags, device);
}

EXPORT BOOL WINAPI SetupDiGetDevicePropertyW(HANDLE handle, void *device, const void *key,
                                             ULONG *type, BYTE *buffer, DWORD size, DWORD *required,
                                             DWORD flags)
{
    return wines<decltype(&SetupDiGetDevicePropertyW)>("SetupDiGetDevicePropertyW")(
        handle, device, key, type, buffer, size, required, flags);
}

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void *)
{
    if (reason == DLL_PROCESS_DETACH)
        Line("exit").item("sets").item(sets.open()).write();
    return TRUE;
}
}
