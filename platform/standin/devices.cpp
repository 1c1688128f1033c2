#include "platform/standin/devices.h"

#include "platform/standin/jsonreader.h"

#include <algorithm>
#include <limits>

namespace platform {

bool RootDevice::operator==(const RootDevice &other) const
{
    return devInst == other.devInst && instanceId == other.instanceId &&
           className == other.className && classGuid == other.classGuid &&
           hardwareIds == other.hardwareIds && friendlyName == other.friendlyName &&
           driverInf == other.driverInf && hasDriverKey == other.hasDriverKey &&
           driverKey == other.driverKey;
}

bool DeviceList::operator==(const DeviceList &other) const
{
    return devices == other.devices && nextDevInst == other.nextDevInst;
}

RootDevice *DeviceList::find(const QString &instanceId)
{
    for (RootDevice &device : devices) {
        if (device.instanceId == instanceId)
            return &device;
    }
    return nullptr;
}

QJsonObject toJson(const RootDevice &device)
{
    QJsonObject object = {{"devInst", static_cast<double>(device.devInst)},
                          {"instanceId", device.instanceId},
                          {"class", device.className},
                          {"classGuid", device.classGuid},
                          {"hardwareIds", QJsonArray::fromStringList(device.hardwareIds)},
                          {"friendlyName", device.friendlyName},
                          {"driverInf", device.driverInf}};
    if (device.hasDriverKey) {
        QJsonObject values;
        for (auto value = device.driverKey.cbegin(); value != device.driverKey.cend(); ++value)
            values.insert(value.key(), value.value());
        object.insert("driverKey", values);
    }
    return object;
}

RootDevice deviceFromJson(const QJsonObject &object, QString *error)
{
    RootDevice device;
    JsonReader reader(object, "devices.", error);
    double devInst = 0;
    reader.number("devInst", &devInst, 0, std::numeric_limits<int>::max());
    device.devInst = static_cast<DEVINST>(devInst);
    reader.text("instanceId", &device.instanceId);
    reader.text("class", &device.className);
    reader.text("classGuid", &device.classGuid);
    reader.texts("hardwareIds", &device.hardwareIds);
    reader.text("name", &device.friendlyName); // as earlier versions wrote it on Linux
    reader.text("friendlyName", &device.friendlyName);
    reader.text("driverInf", &device.driverInf);
    // A key without values exists all the same: opening it succeeds.
    device.hasDriverKey = object.contains("driverKey");
    const QJsonObject values = reader.object("driverKey");
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (value.value().isString())
            device.driverKey.insert(value.key(), value.value().toString());
        else
            reader.complain("driverKey", "must hold texts only");
    }
    return device;
}

QString newInstanceId(const QList<RootDevice> &devices, const QString &name)
{
    for (int number = 0;; ++number) {
        const QString id =
            QString("ROOT\\%1\\%2").arg(name.toUpper()).arg(number, 4, 10, QChar('0'));
        if (std::none_of(devices.begin(), devices.end(),
                         [&id](const RootDevice &device) { return device.instanceId == id; }))
            return id;
    }
}

QString uniqueName(const QList<RootDevice> &devices, const QString &description)
{
    QString name = description;
    for (int number = 2;; ++number) {
        if (std::none_of(devices.begin(), devices.end(),
                         [&name](const RootDevice &device) { return device.friendlyName == name; }))
            return name;
        name = QString("%1 #%2").arg(description).arg(number);
    }
}

} // namespace platform
