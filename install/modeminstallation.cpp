#include "install/modeminstallation.h"

#include "app/diagnostics.h"
#include "app/settings.h"
#include "install/driverpackages.h"
#include "install/fatalerror.h"
#include "install/installationsteps.h"
#include "platform/newdev.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <QSettings>

#include <string>

using namespace platform;

namespace {

constexpr int PortNameSize = 24;   // UTF-16 units
constexpr int ClassNameSize = 100; // UTF-16 units
static_assert(ClassNameSize >= int(MaxClassNameSize));
constexpr int InstanceIdSize = 1000; // UTF-16 units
// UTF-16 units; far beyond the 200 that the system lets an id have. A size that
// is no real one must not be allocated.
constexpr DWORD LargestInstanceId = 0x10000;

/// Restores the thread's last error at the end of a scope. On Windows a log line
/// clears it, and the last line of an installation must name the real one.
class LastErrorKeeper
{
public:
    LastErrorKeeper() : m_error(current().GetLastError()) {}
    ~LastErrorKeeper() { current().SetLastError(m_error); }
    LastErrorKeeper(const LastErrorKeeper &) = delete;
    LastErrorKeeper &operator=(const LastErrorKeeper &) = delete;

    DWORD error() const { return m_error; }

private:
    DWORD m_error;
};

DWORD length(const WCHAR *text)
{
    return static_cast<DWORD>(std::char_traits<WCHAR>::length(text));
}

/// The id that the system generated for a new device; "" when it cannot be
/// read, which harms nothing.
QString instanceId(HDEVINFO set, DeviceInfoData *device)
{
    std::basic_string<WCHAR> buffer(InstanceIdSize, WCHAR{0});
    DWORD required = 0;
    if (current().SetupDiGetDeviceInstanceIdW(set, device, buffer.data(), InstanceIdSize,
                                              &required))
        return fromWide(buffer.c_str());
    if (required <= LargestInstanceId) {
        buffer.assign(required, WCHAR{0});
        if (current().SetupDiGetDeviceInstanceIdW(set, device, buffer.data(), required, &required))
            return fromWide(buffer.c_str());
    }
    logError("InstallRootEnumeratedDriver",
             "An error occured when getting the instance id. but it's not a big prob.");
    return {};
}

const char *updateErrorText(DWORD error)
{
    switch (error) {
    case ErrorFileNotFound:
        return "Error is ERROR_FILE_NOT_FOUND";
    case ErrorInWow64:
        return "Error is ERROR_IN_WOW64";
    case ErrorInvalidFlags:
        return "Error is ERROR_INVALID_FLAGS";
    case ErrorNoSuchDevInst:
        return "Error is ERROR_NO_SUCH_DEVINST";
    case ErrorNoMoreItems:
        return "Error is ERROR_NO_MORE_ITEMS";
    default:
        return "Error is unknown";
    }
}

bool updateDriver(const WCHAR *hardwareId, const WCHAR *infPath, BOOL *rebootRequired)
{
    const char *function = "InstallRootEnumeratedDriver";
    if (UpdateDriverForPlugAndPlayDevicesLoader(nullptr, hardwareId, infPath, InstallFlagForce,
                                                rebootRequired)) {
        // This tests the pointer, not the flag, and the text has no %1 for the
        // word, so the line always ends in "== ". Kept on purpose.
        logMessage(function,
                   QString("UpdateDriverForPlugAndPlayDevices finished. Reboot required == ")
                       .arg(rebootRequired ? "true" : "false"));
        return true;
    }
    const LastErrorKeeper kept;
    logError(function, "UpdateDriverForPlugAndPlayDevices failed.");
    logError(function, QString("Error code %1").arg(kept.error()));
    logError(function, updateErrorText(kept.error()));
    return false;
}

enum class DeviceCreation {
    Installed,
    NotCreated, ///< nothing was registered, so nothing has to be removed
    Failed,     ///< the registered device has to be removed
};

DeviceCreation createModemDevice(HDEVINFO set, DeviceInfoData *device, const Guid *classGuid,
                                 const WCHAR *className, WCHAR *hardwareId, const WCHAR *infPath,
                                 const WCHAR *portName, BOOL *rebootRequired)
{
    const char *function = "InstallRootEnumeratedDriver";
    if (!current().SetupDiCreateDeviceInfoW(set, className, classGuid, nullptr, nullptr,
                                            GenerateDeviceId, device)) {
        const LastErrorKeeper kept;
        logError(function, "CreateDeviceInfo");
        return DeviceCreation::NotCreated;
    }
    const QString id = instanceId(set, device);
    logMessage(function, QString("SetupDiCreateDeviceInfo Done. New Generated Id is %1").arg(id));

    const DWORD idLength = length(hardwareId);
    hardwareId[idLength + 1] = 0;
    if (!current().SetupDiSetDeviceRegistryPropertyW(set, device, PropertyHardwareId,
                                                     reinterpret_cast<const BYTE *>(hardwareId),
                                                     2 * idLength + 4)) {
        const LastErrorKeeper kept;
        logError(function, "SetDeviceRegistryProperty");
        return DeviceCreation::NotCreated;
    }
    logMessage(function, "SetupDiSetDeviceRegistryProperty finished. Now it has id mtkgprsmodem");

    if (!RegisterModem(set, device, portName)) {
        const LastErrorKeeper kept;
        logError(
            function,
            QString("RegisterModem failed. Tried to register it to %1").arg(fromWide(portName)));
        return DeviceCreation::Failed;
    }
    // An error line although nothing failed. Kept on purpose.
    logError(function,
             QString("RegisterModem finished. Tried to register it to %1").arg(fromWide(portName)));
    return updateDriver(hardwareId, infPath, rebootRequired) ? DeviceCreation::Installed
                                                             : DeviceCreation::Failed;
}

} // namespace

bool InstallModem()
{
    // A multi-string of one string. Its second NUL is written where it is used.
    WCHAR hardwareId[32] = {};
    copyToBuffer("mtkgprsmodem", hardwareId, 32);
    WCHAR infPath[PathBufferSize] = {};
    GetModemINFLocation(infPath);

    const QSettings settings;
    // Without a port the modem is attached to COM0 and the set-up goes on.
    SetCurrentPortSettings();
    const int port = settings.value(settingskeys::CurrentPort).toInt();
    WCHAR portName[PortNameSize] = {};
    copyToBuffer(QString("COM%1").arg(port), portName, PortNameSize);

    // Ignored: the set-up goes on without a restart.
    BOOL rebootRequired = false;
    const bool installed =
        InstallRootEnumeratedDriver(hardwareId, infPath, portName, &rebootRequired);
    if (!installed)
        logError("InstallModem", "InstallRootEnumeratedDriver failed");
    return installed;
}

bool InstallRootEnumeratedDriver(WCHAR *hardwareId, const WCHAR *infPath, const WCHAR *portName,
                                 BOOL *rebootRequired)
{
    const char *function = "InstallRootEnumeratedDriver";
    Guid classGuid{};
    WCHAR className[ClassNameSize] = {};
    // The size is in bytes although the function expects characters. This does
    // no harm: no class name is longer than MaxClassNameSize. Kept on purpose.
    if (!current().SetupDiGetINFClassW(infPath, &classGuid, className, sizeof className, nullptr)) {
        logError(function, "ERROR SetupDiGetINFClass");
        return false;
    }
    logMessage(function,
               QString("SetupDiGetINFClass Done. INF Class is %1").arg(fromWide(className)));

    const HDEVINFO set = current().SetupDiCreateDeviceInfoList(&classGuid, nullptr);
    if (set == invalidHandle()) {
        logError(function, "ERROR SetupDiCreateDeviceInfoList");
        return false;
    }
    logMessage(function, QString("SetupDiCreateDeviceInfoList Done."));

    DeviceInfoData device{};
    device.cbSize = sizeof device;
    const DeviceCreation outcome = createModemDevice(set, &device, &classGuid, className,
                                                     hardwareId, infPath, portName, rebootRequired);
    if (outcome == DeviceCreation::Failed)
        current().SetupDiCallClassInstaller(FunctionRemove, set, &device);

    DWORD lastError = Success;
    {
        const LastErrorKeeper kept;
        lastError = kept.error();
        current().SetupDiDestroyDeviceInfoList(set);
    }
    logMessage(function, QString("Last Error %1").arg(lastError));
    // A device that could not be created or named counts as success. The set-up
    // goes on and fails at the phone-book entry. Kept on purpose.
    return outcome != DeviceCreation::Failed;
}

bool RegisterModem(HDEVINFO set, DeviceInfoData *device, const WCHAR *portName)
{
    const char *function = "RegisterModem";
    if (!current().SetupDiRegisterDeviceInfo(set, device, 0, nullptr, nullptr, nullptr)) {
        const LastErrorKeeper kept;
        logError(function, "SetupDiRegisterDeviceInfo Device\n");
        return false;
    }
    logMessage(function, "SetupDiRegisterDeviceInfo OK\n");

    // A new device has no driver key yet. A key that exists belongs to another
    // set-up, so it is not changed. Its handle stays open, on purpose.
    HKEY key = current().SetupDiOpenDevRegKey(set, device, ScopeGlobal, 0, DriverKey, KeyAllAccess);
    if (key != invalidHandle() || current().GetLastError() != ErrorKeyDoesNotExist) {
        const LastErrorKeeper kept;
        logError(function, "SetupDiOpenDevRegKey failed");
        return false;
    }
    key =
        current().SetupDiCreateDevRegKeyW(set, device, ScopeGlobal, 0, DriverKey, nullptr, nullptr);
    if (key == invalidHandle()) {
        const LastErrorKeeper kept;
        logError(function, "SetupDiOpenDevRegKey/SetupDiCreateDevRegKey failed: ");
        return false;
    }
    logMessage(function, "SetupDiCreateDevRegKey succeded. Now the modem has entry in registry");

    const QString valueName = "AttachedTo";
    const LONG result = current().RegSetValueExW(key, wide(valueName), 0, RegistryString,
                                                 reinterpret_cast<const BYTE *>(portName),
                                                 2 * length(portName) + 2);
    if (result != 0) {
        logError(function, "RegSetValueEx");
        current().SetLastError(static_cast<DWORD>(result));
    }
    // The line names the value instead of the port, and it is written after a
    // failure too. Kept on purpose.
    logMessage(
        function,
        QString("RegSetValueEx succeded. Now the modem is registered with %1").arg(valueName));
    current().RegCloseKey(key);

    // The system accepts the key only with the second registration.
    if (!current().SetupDiRegisterDeviceInfo(set, device, 0, nullptr, nullptr, nullptr)) {
        const LastErrorKeeper kept;
        logError(function, "SetupDiRegisterDeviceInfo call for the second time failed(don't know "
                           "why called it :-S. But it is needed.");
        return false;
    }
    logMessage(function, "SetupDiRegisterDeviceInfo call for the second time succeded(don't know "
                         "why called it :-S. But it is needed.");

    // The record's size field stays 0, so this is expected to fail. Both
    // outcomes are logged as errors, and neither matters. Kept on purpose.
    DriverInfoData driver{};
    if (current().SetupDiGetSelectedDriverW(set, device, &driver))
        logError(function, "SetupDiGetSelectedDriver succeded! I didn't hope for success. It's "
                           "success is not important though. It always fails. I don't know why to "
                           "call it in the 1st place :-S.");
    else
        logError(function, "SetupDiGetSelectedDriver failes. It's success is not important though. "
                           "It always fails. I don't know why to call it in the 1st place :-S.");
    return true;
}

BOOL UpdateDriverForPlugAndPlayDevicesLoader(HWND parent, const WCHAR *hardwareId,
                                             const WCHAR *infPath, DWORD flags,
                                             BOOL *rebootRequired)
{
    const QString file = "newdev.dll";
    const HMODULE library = current().LoadLibraryW(wide(file));
    if (!library)
        ShowFatalError("newdev.dll", "Error, newdev.dll not found\n");
    // Every Windows release that has this library has the function.
    const auto update = reinterpret_cast<UpdateDriverFunction>(
        current().GetProcAddress(library, "UpdateDriverForPlugAndPlayDevicesW"));
    const BOOL updated = update(parent, hardwareId, infPath, flags, rebootRequired);
    // Freeing the library would overwrite the error that the caller logs.
    const LastErrorKeeper kept;
    current().FreeLibrary(library);
    return updated;
}
