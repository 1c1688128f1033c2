#pragma once

#include "platform/linux/statestore.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

namespace platform::linuxsystem {

/// A root-enumerated device as it stands in the state store.
struct ModemDevice {
    QString instanceId; ///< ROOT\MODEM\0000
    QString className;
    QString classGuid; ///< in braces and capitals
    QStringList hardwareIds;
    QString name; ///< given by its driver; empty without one
    bool hasDriverKey = false;
    QMap<QString, QString> driverKey; ///< its text values
};

/// The devices in the order in which they were made.
QList<ModemDevice> readDevices(const QJsonObject &state);
void writeDevices(QJsonObject *state, const QList<ModemDevice> &devices);

/// The index of a device in the list; -1 when it is not there.
int indexOfDevice(const QList<ModemDevice> &devices, const QString &instanceId);

/// The next instance id of a class: ROOT\MODEM\0000, then 0001.
QString newInstanceId(const QList<ModemDevice> &devices, const QString &className);

/// A name for one more device of a driver: "GPRS Modem", then "GPRS Modem #2".
QString uniqueName(const QList<ModemDevice> &devices, const QString &description);

} // namespace platform::linuxsystem
