#include "platform/linux/helper/checks.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace platform::linuxsystem {

namespace {

constexpr int MostDevices = 1000;
constexpr int MostHardwareIds = 16;
constexpr int MostValues = 16;
constexpr int LongestInstanceId = 200; // MAX_DEVICE_ID_LEN
constexpr int LongestClassName = 31;   // MAX_CLASS_NAME_LEN without its end
constexpr int LongestName = 128;       // RAS_MaxDeviceName
constexpr int LongestValue = 260;
constexpr int LongestSignIn = 255; // MAXNAMELEN and MAXSECRETLEN of pppd, without their end
constexpr DEVINST MostNodes = 1000000;

bool matches(const QString &text, const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

bool isDriverKey(const RootDevice &device)
{
    if (!device.hasDriverKey)
        return device.driverKey.isEmpty();
    if (device.driverKey.size() > MostValues)
        return false;
    for (auto value = device.driverKey.begin(); value != device.driverKey.end(); ++value) {
        if (!isPlainLine(value.key(), LongestName) || !isPlainLine(value.value(), LongestValue))
            return false;
        if (value.key() == "AttachedTo" && !matches(value.value(), "COM[0-9]{1,5}"))
            return false;
    }
    return true;
}

bool isDevice(const RootDevice &device, const QString &infFolder)
{
    const auto isHardwareId = [](const QString &id) {
        return !id.isEmpty() && isPlainLine(id, LongestInstanceId);
    };
    return matches(device.instanceId, R"(ROOT\\[^\\]{1,190}\\[0-9]{4,5})") &&
           isPlainLine(device.instanceId, LongestInstanceId) &&
           isPlainLine(device.className, LongestClassName) &&
           matches(device.classGuid,
                   R"(\{[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}\})") &&
           device.hardwareIds.size() <= MostHardwareIds &&
           std::all_of(device.hardwareIds.begin(), device.hardwareIds.end(), isHardwareId) &&
           isPlainLine(device.friendlyName, LongestName) &&
           (device.driverInf.isEmpty() ||
            (isInfName(device.driverInf) &&
             QFileInfo(infFolder + '/' + device.driverInf).isFile())) &&
           isDriverKey(device);
}

/// An entry names its modem, and the modem its port. So a second modem of the same
/// name, or another port for the one that is there, would send every user's entry
/// elsewhere. Only its driver may be renewed.
bool keepsModems(const DeviceList &wanted, const DeviceList &present)
{
    const auto isNamed = [](const RootDevice &device) { return !device.friendlyName.isEmpty(); };
    for (const RootDevice &before : present.devices) {
        if (!isNamed(before))
            continue;
        const auto after = std::find_if(
            wanted.devices.begin(), wanted.devices.end(),
            [&](const RootDevice &device) { return device.instanceId == before.instanceId; });
        RootDevice renewed = before;
        if (after != wanted.devices.end())
            renewed.driverInf = after->driverInf;
        if (after == wanted.devices.end() || !(*after == renewed))
            return false;
    }
    return std::all_of(wanted.devices.begin(), wanted.devices.end(), [&](const RootDevice &device) {
        const auto isSoCalled = [&](const RootDevice &other) {
            return other.friendlyName == device.friendlyName;
        };
        // What earlier versions made stays as it is.
        const auto isItself = [&](const RootDevice &before) {
            return before.instanceId == device.instanceId && isSoCalled(before);
        };
        return !isNamed(device) ||
               std::any_of(present.devices.begin(), present.devices.end(), isItself) ||
               std::count_if(wanted.devices.begin(), wanted.devices.end(), isSoCalled) == 1;
    });
}

} // namespace

QString changeablePath(const SystemPaths &paths)
{
    QStringList all{paths.helper, paths.pppd, paths.drivers + "/DialPhone",
                    paths.drivers + "/InstallDriver"};
    const auto everything = QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;
    for (const QString &name : QDir(paths.drivers).entryList(everything))
        all += paths.drivers + '/' + name;
    for (const char *part : {"/state.json", "/state.lock", "/entries", "/inf", "/sign-in"})
        all += paths.state + part;
    for (const QString &path : std::as_const(all)) {
        if (!isOnlyRoots(path, paths.trusted))
            return path;
    }
    return {};
}

bool isPlainLine(const QString &text, int longest)
{
    return text.size() <= longest && std::all_of(text.begin(), text.end(), [](QChar character) {
               return character.unicode() >= 0x20 && character.unicode() < 0x7F;
           });
}

bool isInfName(const QString &name)
{
    return matches(name, "oem[0-9]{1,4}\\.inf");
}

bool isSignInText(const QString &text)
{
    return text.isValidUtf16() && text.toUtf8().size() <= LongestSignIn &&
           std::none_of(text.begin(), text.end(), [](QChar character) {
               return character.category() == QChar::Other_Control;
           });
}

bool isPlausible(const DeviceList &wanted, const DeviceList &present, const QString &infFolder)
{
    if (wanted.devices.size() > MostDevices || wanted.nextDevInst < present.nextDevInst ||
        wanted.nextDevInst > MostNodes)
        return false;
    QSet<QString> ids;
    QSet<DEVINST> nodes;
    for (const RootDevice &device : wanted.devices) {
        // What earlier versions made stays as it is.
        if (!present.devices.contains(device) && !isDevice(device, infFolder))
            return false;
        if (device.devInst <= RootDevNode || device.devInst >= wanted.nextDevInst)
            return false;
        ids.insert(device.instanceId);
        nodes.insert(device.devInst);
    }
    return ids.size() == wanted.devices.size() && nodes.size() == wanted.devices.size() &&
           keepsModems(wanted, present);
}

} // namespace platform::linuxsystem
