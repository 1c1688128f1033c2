#pragma once

#include "platform/standin/devices.h"

#include <QJsonObject>

namespace platform::linuxsystem {

class StateStore;

/// Puts the store aside, if what it should hold cannot be read. Success, also when
/// it can; the codes of StateStore::putAside().
DWORD putDamagedStateAside(StateStore *store);

/// A name for a new device that comes after those of all others of that description
/// when they are sorted, as the last one is taken for the newest: "#2" to "#9",
/// "#A" to "#Z", "#Z2" to "#ZZ", "#ZZ2" and so on.
QString newestName(const QList<RootDevice> &devices, const QString &description);

/// The folder of the INF store.
QString infFolderOf(const StateStore &store);

/// Writes a file of the INF store, all of it or nothing. Success, 5 without the
/// rights, 31 for a disk that is full or read-only.
DWORD writeInf(const StateStore &store, const QString &fileName, const QByteArray &content);

/// The root-enumerated devices that the state store keeps. Success, 13 when
/// they are damaged, or the code with which the store cannot be read.
DWORD readDevices(const StateStore &store, DeviceList *list);

/// The same of the store's content, to change them within it.
DWORD readDevices(const QJsonObject &state, DeviceList *list);
void writeDevices(QJsonObject *state, const DeviceList &list);

} // namespace platform::linuxsystem
