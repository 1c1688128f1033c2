#include "tests/windows/programcalls.h"

#include "platform/platform.h"

#include <QCoreApplication>
#include <QDir>

#include <algorithm>
#include <iterator>

using namespace platform;

namespace programcalls {

namespace {

constexpr size_t MaximumPath = 261;

/// A text at the beginning of a cleared buffer of that many units.
std::vector<WCHAR> buffer(const QString &text, size_t units)
{
    std::vector<WCHAR> units16(units);
    text.toWCharArray(units16.data());
    return units16;
}

std::vector<WCHAR> driverFile(const QString &name)
{
    return buffer(
        QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + "/drivers/" + name),
        MaximumPath);
}

/// A function of a library that the program binds at run time.
template<typename Function> Function bind(HMODULE library, const char *name)
{
    return reinterpret_cast<Function>(current().GetProcAddress(library, name));
}

} // namespace

HANDLE openPort()
{
    const std::vector<WCHAR> name = buffer("\\\\.\\COM7", 100);
    return current().CreateFileW(name.data(), GenericRead | GenericWrite, 0, nullptr, OpenExisting,
                                 FileFlagOverlapped, nullptr);
}

BOOL getState(HANDLE port, DeviceControlBlock *state)
{
    *state = {};
    return current().GetCommState(port, state);
}

BOOL setState(HANDLE port)
{
    DeviceControlBlock state;
    if (!getState(port, &state))
        return 0;
    state.BaudRate = BaudRate9600;
    state.ByteSize = 8;
    state.Parity = NoParity;
    state.StopBits = OneStopBit;
    return current().SetCommState(port, &state);
}

BOOL setTimeouts(HANDLE port)
{
    CommTimeouts timeouts = {MaxDword, 0, 0, 0, 0};
    return current().SetCommTimeouts(port, &timeouts);
}

BOOL setMask(HANDLE port)
{
    return current().SetCommMask(port, EventReceivedCharacter | EventTransmitEmpty);
}

HANDLE newEvent()
{
    return current().CreateEventW(nullptr, 1, 0, nullptr);
}

BOOL eventRights(SecurityAttributes *rights)
{
    return current().ConvertStringSecurityDescriptorToSecurityDescriptorW(
        L"D:(A;;GA;;;SY)(A;;GA;;;BA)(A;;GA;;;IU)", SddlRevision1, &rights->lpSecurityDescriptor,
        nullptr);
}

HANDLE namedEvent(SecurityAttributes *rights)
{
    return current().CreateEventW(
        rights, false, false,
        L"Local\\Tolvane Modem Connector 0123456789abcdef0123456789abcdef01234567");
}

BOOL writeAt(HANDLE port, Overlapped *record)
{
    // Pending, it needs the text longer than this function does.
    static const char text[] = "AT\r";
    DWORD written = 0;
    return current().WriteFile(port, text, 3, &written, record);
}

BOOL readAnswer(HANDLE port, Overlapped *record, QByteArray *answer)
{
    char chunk[100] = {};
    DWORD count = 0;
    const BOOL result = current().ReadFile(port, chunk, sizeof chunk, &count, record);
    answer->append(chunk, static_cast<int>(count));
    return result;
}

BOOL startInstaller(ProcessInformation *process)
{
    const std::vector<WCHAR> program = driverFile("InstallDriver.exe");
    std::vector<WCHAR> commandLine = buffer("InstallDriver -a", 32);
    StartupInfo startup = {};
    startup.cb = sizeof startup;
    return current().CreateProcessW(program.data(), commandLine.data(), nullptr, nullptr, 0, 0,
                                    nullptr, nullptr, &startup, process);
}

DWORD enumerateConnections(std::vector<RasConnection> *list, DWORD *count, DWORD *bytes)
{
    *list = std::vector<RasConnection>(100);
    list->front().dwSize = RasConnectionSize;
    const auto given = static_cast<DWORD>(list->size() * sizeof list->front());
    DWORD needed = given;
    *count = 0;
    const DWORD result = current().RasEnumConnectionsW(list->data(), &needed, count);
    if (bytes)
        *bytes = needed;
    return result;
}

BOOL dial(RasDialDialog *dialog)
{
    std::vector<WCHAR> entry = buffer("TolvaneModem 1", 200);
    std::vector<WCHAR> number = buffer("*99#", 10);
    *dialog = {};
    dialog->dwSize = RasDialDialogSize;
    return current().RasDialDlgW(nullptr, entry.data(), number.data(), dialog);
}

DWORD defaultEntry(std::vector<BYTE> *block, RasEntry **entry)
{
    *block = std::vector<BYTE>(5680);
    *entry = reinterpret_cast<RasEntry *>(block->data());
    (*entry)->dwSize = RasEntrySize;
    auto size = static_cast<DWORD>(block->size());
    return current().RasGetEntryPropertiesW(nullptr, L"", *entry, &size, nullptr, nullptr);
}

DWORD storeEntry()
{
    std::vector<BYTE> block;
    RasEntry *entry = nullptr;
    if (const DWORD code = defaultEntry(&block, &entry))
        return code;
    entry->dwfOptions &= ~(EntryPreviewUserPassword | EntryPreviewPhoneNumber);
    const auto set = [](WCHAR *field, size_t units, const QString &text) {
        const std::vector<WCHAR> cleared = buffer(text, units);
        std::copy(cleared.begin(), cleared.end(), field);
    };
    set(entry->szLocalPhoneNumber, std::size(entry->szLocalPhoneNumber), "*99#");
    set(entry->szDeviceType, std::size(entry->szDeviceType), "RASDT_Modem");
    set(entry->szDeviceName, std::size(entry->szDeviceName), "MTK GPRS Modem");
    const std::vector<WCHAR> name = buffer("TolvaneModem 1", 10000);
    return current().RasSetEntryPropertiesW(nullptr, name.data(), entry,
                                            static_cast<DWORD>(block.size()), nullptr, 0);
}

BOOL copyInf()
{
    const std::vector<WCHAR> inf = driverFile("modem_inf_64.inf");
    return current().SetupCopyOEMInfW(inf.data(), inf.data(), SourceMediaNone, CopyInfCatalogOnly,
                                      nullptr, 0, nullptr, nullptr);
}

BOOL infClass(Guid *guid, std::vector<WCHAR> *name)
{
    const std::vector<WCHAR> inf = driverFile("modem_inf_64.inf");
    *name = std::vector<WCHAR>(200);
    return current().SetupDiGetINFClassW(inf.data(), guid, name->data(), 200, nullptr);
}

HDEVINFO presentPorts()
{
    return current().SetupDiGetClassDevsW(&PortsClassGuid, nullptr, nullptr, GetPresentDevices);
}

BOOL deviceAt(HDEVINFO set, DWORD index, DeviceInfoData *device)
{
    *device = {};
    device->cbSize = sizeof *device;
    return current().SetupDiEnumDeviceInfo(set, index, device);
}

NewModem::NewModem() : set(current().SetupDiCreateDeviceInfoList(&modemClass, nullptr)) {}

NewModem::~NewModem()
{
    current().SetupDiDestroyDeviceInfoList(set);
}

BOOL NewModem::create()
{
    return current().SetupDiCreateDeviceInfoW(set, L"Modem", &modemClass, nullptr, nullptr,
                                              GenerateDeviceId, &device);
}

BOOL NewModem::setHardwareId()
{
    const std::vector<WCHAR> ids = buffer("mtkgprsmodem", 14);
    return current().SetupDiSetDeviceRegistryPropertyW(
        set, &device, PropertyHardwareId, reinterpret_cast<const BYTE *>(ids.data()), 28);
}

BOOL NewModem::instanceId(WCHAR *id, DWORD units)
{
    DWORD required = 0;
    return current().SetupDiGetDeviceInstanceIdW(set, &device, id, units, &required);
}

BOOL NewModem::registerDevice()
{
    return current().SetupDiRegisterDeviceInfo(set, &device, 0, nullptr, nullptr, nullptr);
}

HKEY NewModem::openKey()
{
    return current().SetupDiOpenDevRegKey(set, &device, ScopeGlobal, 0, DriverKey, KeyAllAccess);
}

HKEY NewModem::createKey()
{
    return current().SetupDiCreateDevRegKeyW(set, &device, ScopeGlobal, 0, DriverKey, nullptr,
                                             nullptr);
}

BOOL NewModem::selectedDriver()
{
    DriverInfoData driver = {};
    return current().SetupDiGetSelectedDriverW(set, &device, &driver);
}

BOOL NewModem::remove()
{
    return current().SetupDiCallClassInstaller(FunctionRemove, set, &device);
}

LONG attach(HKEY key)
{
    return current().RegSetValueExW(key, L"AttachedTo", 0, RegistryString,
                                    reinterpret_cast<const BYTE *>(L"COM7"), 10);
}

BOOL updateDriver(BOOL *reboot)
{
    const HMODULE library = current().LoadLibraryW(L"newdev.dll");
    const auto update = bind<UpdateDriverFunction>(library, "UpdateDriverForPlugAndPlayDevicesW");
    const std::vector<WCHAR> id = buffer("mtkgprsmodem", 32);
    const std::vector<WCHAR> inf = driverFile("modem_inf_64.inf");
    const BOOL result = update(nullptr, id.data(), inf.data(), InstallFlagForce, reboot);
    const DWORD error = current().GetLastError();
    current().FreeLibrary(library);
    current().SetLastError(error);
    return result;
}

ConfigRet locateRoot(DEVINST *node)
{
    const HMODULE library = current().LoadLibraryW(L"cfgmgr32.dll");
    const auto locate = bind<CmLocateDevNodeFunction>(library, "CM_Locate_DevNode_ExA");
    const ConfigRet result = locate(node, nullptr, LocateNormal, nullptr);
    current().FreeLibrary(library);
    return result;
}

ConfigRet rescan()
{
    DEVINST root = 0;
    if (const ConfigRet code = locateRoot(&root))
        return code;
    const HMODULE library = current().LoadLibraryW(L"cfgmgr32.dll");
    const auto reenumerate =
        bind<CmReenumerateDevNodeFunction>(library, "CM_Reenumerate_DevNode_Ex");
    const ConfigRet result = reenumerate(root, ReenumerateNormal, nullptr);
    current().FreeLibrary(library);
    return result;
}

} // namespace programcalls
