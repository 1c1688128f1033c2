#pragma once

#include "platform/types.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

namespace platform {

/// The node that stands for the root of the device tree.
inline constexpr DEVINST RootDevNode = 1;

/// A root-enumerated device that was registered. A value.
struct RootDevice {
    DEVINST devInst = 0;
    QString instanceId; ///< ROOT\MODEM\0000
    QString className;
    QString classGuid; ///< in braces and capitals
    QStringList hardwareIds;
    QString friendlyName; ///< given by its driver; empty without one
    QString driverInf;    ///< oem0.inf in the INF store; empty without a driver
    bool hasDriverKey = false;
    QMap<QString, QString> driverKey; ///< its text values

    bool operator==(const RootDevice &other) const;
};

/// The registered devices of a machine, in the order in which they were made.
struct DeviceList {
    QList<RootDevice> devices;
    DEVINST nextDevInst = RootDevNode + 1;

    /// The device of this instance id, to be changed in place; null when there
    /// is none. Valid until devices are added or removed.
    RootDevice *find(const QString &instanceId);

    bool operator==(const DeviceList &other) const;
};

/// A device as it is kept on disk.
QJsonObject toJson(const RootDevice &device);

/// Reads such an object. What is missing keeps its default; a value of the
/// wrong type is told in *error, which keeps the first complaint.
RootDevice deviceFromJson(const QJsonObject &object, QString *error);

/// The next instance id of a name: ROOT\MODEM\0000, then 0001.
QString newInstanceId(const QList<RootDevice> &devices, const QString &name);

/// A name for one more device of a driver: "GPRS Modem", then "GPRS Modem #2".
QString uniqueName(const QList<RootDevice> &devices, const QString &description);

} // namespace platform
