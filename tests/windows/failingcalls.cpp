#include "tests/windows/failingcalls.h"

#include "platform/platform.h"
#include "tests/windows/programcalls.h"

#include <QByteArray>

#include <windows.h>

using platform::current;
using platform::HDEVINFO;
using namespace programcalls;

namespace {

using Failure = std::function<quint64()>;

const quint64 invalid = ~quint64{0};

quint64 valueOf(const void *pointer)
{
    return reinterpret_cast<quint64>(pointer);
}

quint64 code(platform::LONG result)
{
    return static_cast<platform::DWORD>(result);
}

/// A call of the open port.
Failure onPort(const std::function<quint64(HANDLE)> &call)
{
    return [call] {
        const HANDLE port = openPort();
        const quint64 result = call(port);
        const DWORD error = ::GetLastError();
        current().CloseHandle(port);
        ::SetLastError(error);
        return result;
    };
}

/// A call of the open port with an event that the port has used already.
Failure onPortInUse(const std::function<quint64(HANDLE, platform::Overlapped *)> &call)
{
    return onPort([call](HANDLE port) {
        platform::Overlapped record = {};
        record.hEvent = newEvent();
        writeAt(port, &record);
        ::WaitForSingleObject(record.hEvent, INFINITE);
        return call(port, &record);
    });
}

/// A call of a device that was just made.
Failure onModem(const std::function<quint64(NewModem &)> &call)
{
    return [call] {
        DWORD error = 0;
        quint64 result = 0;
        {
            NewModem modem;
            modem.create();
            result = call(modem);
            error = ::GetLastError();
        }
        ::SetLastError(error);
        return result;
    };
}

/// A call of the set of ports, which is left to the end of the process.
Failure onPorts(const std::function<quint64(HDEVINFO)> &call)
{
    return [call] { return call(presentPorts()); };
}

} // namespace

std::vector<FailingCall> failingCalls()
{
    std::vector<FailingCall> rows;
    platform::DWORD next = 5000; // no code that anything else gives
    const auto scripted = [&rows, &next](const char *operation, quint64 result,
                                         const Failure &call) {
        rows.push_back({operation, call, true, result, ++next, true});
    };
    const auto scriptedCode = [&rows, &next](const char *operation, const Failure &call) {
        ++next;
        rows.push_back({operation, call, true, next, next, false});
    };
    const auto byItself = [&rows](const char *operation, quint64 result, platform::DWORD code,
                                  const Failure &call) {
        rows.push_back({operation, call, false, result, code, true});
    };

    byItself("CloseHandle", 0, ERROR_INVALID_HANDLE, [] { return current().CloseHandle(nullptr); });
    byItself("SetEvent", 0, ERROR_INVALID_HANDLE, [] { return current().SetEvent(nullptr); });
    byItself("GetModuleHandleW", 0, ERROR_MOD_NOT_FOUND,
             [] { return valueOf(current().GetModuleHandleW(L"no-such-library.dll")); });
    byItself("LoadLibraryW", 0, ERROR_MOD_NOT_FOUND,
             [] { return valueOf(current().LoadLibraryW(L"no-such-library.dll")); });
    byItself("GetProcAddress", 0, ERROR_PROC_NOT_FOUND, [] {
        return reinterpret_cast<quint64>(
            current().GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "NoSuchFunction"));
    });
    byItself("FreeLibrary", 0, ERROR_INVALID_HANDLE, [] { return current().FreeLibrary(nullptr); });
    rows.push_back({"RegCloseKey", [] { return code(current().RegCloseKey(nullptr)); }, false,
                    ERROR_INVALID_HANDLE, ERROR_INVALID_HANDLE, false});

    scripted("CreateProcessW", 0, [] {
        platform::ProcessInformation process = {};
        return startInstaller(&process);
    });
    scripted("AllowSetForegroundWindow", 0,
             [] { return current().AllowSetForegroundWindow(platform::AnyProcess); });
    scripted("ConvertStringSecurityDescriptorToSecurityDescriptorW", 0, [] {
        platform::SecurityAttributes rights = {};
        return eventRights(&rights);
    });
    scripted("GetVersionExW", 0, [] {
        platform::OsVersionInfoEx version = {};
        version.dwOSVersionInfoSize = sizeof version;
        return current().GetVersionExW(&version);
    });

    scripted("CreateFileW", invalid, [] { return valueOf(openPort()); });
    scripted("GetCommState", 0, onPort([](HANDLE port) {
                 platform::DeviceControlBlock state;
                 return getState(port, &state);
             }));
    scripted("SetCommState", 0, onPort(setState));
    scripted("SetCommTimeouts", 0, onPort(setTimeouts));
    scripted("SetCommMask", 0, onPort(setMask));
    scripted("CreateEventW", 0, onPort([](HANDLE) { return valueOf(newEvent()); }));
    scripted("WriteFile", 0, onPort([](HANDLE port) {
                 platform::Overlapped record = {};
                 record.hEvent = newEvent();
                 return writeAt(port, &record);
             }));
    scripted("GetOverlappedResult", 0, onPortInUse([](HANDLE port, platform::Overlapped *record) {
                 platform::DWORD count = 0;
                 return current().GetOverlappedResult(port, record, &count, 1);
             }));
    scripted("WaitCommEvent", 0, onPortInUse([](HANDLE port, platform::Overlapped *record) {
                 platform::DWORD happened = 0;
                 return current().WaitCommEvent(port, &happened, record);
             }));
    scripted("WaitForSingleObject", platform::WaitFailed,
             onPortInUse([](HANDLE, platform::Overlapped *record) {
                 return current().WaitForSingleObject(record->hEvent, platform::WaitInfinite);
             }));
    scripted("ReadFile", 0, onPortInUse([](HANDLE port, platform::Overlapped *record) {
                 QByteArray answer;
                 return readAnswer(port, record, &answer);
             }));

    scriptedCode("RasEnumConnectionsW", [] {
        std::vector<platform::RasConnection> list;
        platform::DWORD count = 0;
        return enumerateConnections(&list, &count);
    });
    scriptedCode("RasHangUpW", [] {
        std::vector<platform::RasConnection> list;
        platform::DWORD count = 0;
        enumerateConnections(&list, &count);
        return current().RasHangUpW(list[0].hrasconn);
    });
    scriptedCode("RasDialDlgW", [] {
        platform::RasDialDialog dialog;
        return dial(&dialog) ? 0 : dialog.dwError;
    });
    scriptedCode("RasEnumDevicesW", [] {
        platform::DWORD bytes = 0;
        platform::DWORD count = 0;
        return current().RasEnumDevicesW(nullptr, &bytes, &count);
    });
    scriptedCode("RasGetEntryPropertiesW", [] {
        platform::DWORD size = 0;
        return current().RasGetEntryPropertiesW(nullptr, L"", nullptr, &size, nullptr, nullptr);
    });
    scriptedCode("RasSetEntryPropertiesW", storeEntry);

    scripted("SetupCopyOEMInfW", 0, copyInf);
    scripted("SetupDiGetINFClassW", 0, [] {
        platform::Guid guid = {};
        std::vector<WCHAR> name;
        return infClass(&guid, &name);
    });
    scripted("SetupDiGetClassDevsW", invalid, [] { return valueOf(presentPorts()); });
    scripted("SetupDiCreateDeviceInfoList", invalid,
             [] { return valueOf(current().SetupDiCreateDeviceInfoList(&modemClass, nullptr)); });
    scripted("SetupDiDestroyDeviceInfoList", 0,
             [] { return current().SetupDiDestroyDeviceInfoList(presentPorts()); });
    scripted("SetupDiEnumDeviceInfo", 0, onPorts([](HDEVINFO set) {
                 platform::DeviceInfoData device;
                 return deviceAt(set, 0, &device);
             }));
    scripted("SetupDiGetDeviceRegistryPropertyW", 0, onPorts([](HDEVINFO set) {
                 platform::DeviceInfoData device;
                 deviceAt(set, 0, &device);
                 platform::DWORD type = 0;
                 platform::DWORD required = 0;
                 return current().SetupDiGetDeviceRegistryPropertyW(
                     set, &device, platform::PropertyFriendlyName, &type, nullptr, 0, &required);
             }));
    scripted("SetupDiCreateDeviceInfoW", 0, [] {
        const HDEVINFO set = current().SetupDiCreateDeviceInfoList(&modemClass, nullptr);
        platform::DeviceInfoData device = {sizeof device, {}, 0, 0};
        return current().SetupDiCreateDeviceInfoW(set, L"Modem", &modemClass, nullptr, nullptr,
                                                  platform::GenerateDeviceId, &device);
    });
    scripted("SetupDiSetDeviceRegistryPropertyW", 0,
             onModem([](NewModem &modem) { return modem.setHardwareId(); }));
    scripted("SetupDiGetDeviceInstanceIdW", 0, onModem([](NewModem &modem) {
                 WCHAR id[500] = {};
                 return modem.instanceId(id, 500);
             }));
    scripted("SetupDiRegisterDeviceInfo", 0,
             onModem([](NewModem &modem) { return modem.registerDevice(); }));
    scripted("SetupDiOpenDevRegKey", invalid,
             onModem([](NewModem &modem) { return valueOf(modem.openKey()); }));
    scripted("SetupDiCreateDevRegKeyW", invalid,
             onModem([](NewModem &modem) { return valueOf(modem.createKey()); }));
    byItself("SetupDiGetSelectedDriverW", 0, ERROR_INVALID_USER_BUFFER,
             onModem([](NewModem &modem) { return modem.selectedDriver(); }));
    scripted("SetupDiCallClassInstaller", 0,
             onModem([](NewModem &modem) { return modem.remove(); }));
    scriptedCode("RegSetValueExW", onModem([](NewModem &modem) {
                     const platform::HKEY key = modem.createKey();
                     const quint64 result = code(attach(key));
                     current().RegCloseKey(key);
                     return result;
                 }));

    scriptedCode("CM_Locate_DevNode_ExA", [] {
        platform::DEVINST node = 0;
        return locateRoot(&node);
    });
    scriptedCode("CM_Reenumerate_DevNode_Ex", rescan);
    scripted("UpdateDriverForPlugAndPlayDevicesW", 0, [] {
        BOOL reboot = 0;
        return updateDriver(&reboot);
    });
    // They say nothing of why there is no memory.
    rows.push_back({"HeapAlloc",
                    [] {
                        return valueOf(current().HeapAlloc(current().GetProcessHeap(),
                                                           platform::HeapZeroMemory, 8));
                    },
                    true, 0, platform::ErrorNotEnoughMemory, false});
    rows.push_back({"LocalAlloc",
                    [] { return valueOf(current().LocalAlloc(platform::LocalZeroInit, 8)); }, true,
                    0, platform::ErrorNotEnoughMemory, false});
    return rows;
}
