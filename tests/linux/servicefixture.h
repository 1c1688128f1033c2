#pragma once

// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "platform/linux/helper/protocol.h"
#include "platform/linux/systempaths.h"
#include "platform/ras.h"
#include "platform/standin/devices.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QTemporaryDir>

#include <memory>

/// A machine with one phone, one modem and an entry of the asker's, for the helper to
/// work on. Run under umockdev-wrapper; prepare() before each case, endMachine()
/// after it.
class ServiceFixture
{
public:
    static constexpr uid_t asker = 1000;
    static constexpr char modemName[] = "Tolvane GPRS Modem";
    static constexpr char line[] = "/dev/rfcomm7"; // COM5: the first line that is plugged in
    static constexpr char ownEntry[] = "tolvane-TolvaneModem_1@1000";

    static platform::RasEntry entryRecord();
    static platform::RootDevice modem(int number);
    static platform::DeviceList modems(int count);

    void prepare();
    void endMachine();

    QString path(const QString &name) const { return m_folder->filePath(name); }
    void put(const QString &name, const QByteArray &content) const;

    /// What a helper in that role answers. A dial is only checked.
    platform::DWORD answer(platform::linuxsystem::Role role, const QJsonObject &request) const;

    /// A request for each thing that a helper does, with the role that may ask for it.
    /// A rescan is not among them: it would ask the system's own udev.
    struct Good {
        platform::linuxsystem::Role role;
        QJsonObject request;
    };
    QList<Good> goodRequests() const;

    /// Every file of the machine with its mode and content.
    QMap<QString, QByteArray> files() const;

    /// Makes the machine's files as they were.
    void restore(const QMap<QString, QByteArray> &before) const;

    /// What on the machine is not as this program would make it; empty for nothing.
    QString harm() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    platform::linuxsystem::SystemPaths m_paths;
    const QByteArray m_inf = "[Version]\nSignature=\"$CHICAGO$\"\n";

private:
    static QString deviceHarm(const platform::DeviceList &list);
    QString entryHarm(const QString &file) const;

    UMockdevTestbed *m_bed = nullptr;
};

/// The object with another value in that field.
QJsonObject with(QJsonObject object, const QString &field, const QJsonValue &value);
