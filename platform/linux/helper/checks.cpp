#include "platform/linux/helper/checks.h"

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
constexpr int LongestEntryName = 256;  // RAS_MaxEntryName
constexpr int LongestValue = 260;
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

} // namespace

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

bool isEntryName(const QString &name)
{
    return !name.trimmed().isEmpty() && name.size() <= LongestEntryName && !name.startsWith('.') &&
           std::none_of(name.begin(), name.end(), [](QChar character) {
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
    return ids.size() == wanted.devices.size() && nodes.size() == wanted.devices.size();
}

} // namespace platform::linuxsystem
