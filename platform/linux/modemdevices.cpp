#include "platform/linux/modemdevices.h"

#include <QJsonArray>

#include <algorithm>

namespace platform::linuxsystem {

namespace {

ModemDevice fromJson(const QJsonObject &object)
{
    ModemDevice device;
    device.instanceId = object.value("instanceId").toString();
    device.className = object.value("class").toString();
    device.classGuid = object.value("classGuid").toString();
    for (const auto &id : object.value("hardwareIds").toArray())
        device.hardwareIds.append(id.toString());
    device.name = object.value("name").toString();
    device.hasDriverKey = object.contains("driverKey");
    const QJsonObject values = object.value("driverKey").toObject();
    for (auto value = values.begin(); value != values.end(); ++value)
        device.driverKey.insert(value.key(), value.value().toString());
    return device;
}

QJsonObject toJson(const ModemDevice &device)
{
    QJsonObject object;
    object.insert("instanceId", device.instanceId);
    object.insert("class", device.className);
    object.insert("classGuid", device.classGuid);
    object.insert("hardwareIds", QJsonArray::fromStringList(device.hardwareIds));
    object.insert("name", device.name);
    if (device.hasDriverKey) {
        QJsonObject values;
        for (auto value = device.driverKey.begin(); value != device.driverKey.end(); ++value)
            values.insert(value.key(), value.value());
        object.insert("driverKey", values);
    }
    return object;
}

} // namespace

QList<ModemDevice> readDevices(const QJsonObject &state)
{
    QList<ModemDevice> devices;
    for (const auto &device : state.value("devices").toArray())
        devices.append(fromJson(device.toObject()));
    return devices;
}

void writeDevices(QJsonObject *state, const QList<ModemDevice> &devices)
{
    QJsonArray array;
    for (const ModemDevice &device : devices)
        array.append(toJson(device));
    state->insert("devices", array);
}

int indexOfDevice(const QList<ModemDevice> &devices, const QString &instanceId)
{
    const auto found =
        std::find_if(devices.begin(), devices.end(), [&instanceId](const ModemDevice &device) {
            return device.instanceId == instanceId;
        });
    return found == devices.end() ? -1 : static_cast<int>(found - devices.begin());
}

QString newInstanceId(const QList<ModemDevice> &devices, const QString &className)
{
    for (int instance = 0;; ++instance) {
        const QString id =
            QString("ROOT\\%1\\%2").arg(className.toUpper()).arg(instance, 4, 10, QChar('0'));
        if (indexOfDevice(devices, id) < 0)
            return id;
    }
}

QString uniqueName(const QList<ModemDevice> &devices, const QString &description)
{
    QString name = description;
    for (int copy = 2;; ++copy) {
        const bool taken =
            std::any_of(devices.begin(), devices.end(),
                        [&name](const ModemDevice &device) { return device.name == name; });
        if (!taken)
            return name;
        name = QString("%1 #%2").arg(description).arg(copy);
    }
}

} // namespace platform::linuxsystem
