#pragma once

#include "app/identity.h"
#include "platform/linux/activelinks.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/phonebook.h"
#include "platform/linux/systempaths.h"
#include "platform/standin/lasterror.h"
#include "tests/linux/helperfixture.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <memory>

inline const char entryName[] = "TolvaneModem 1";
inline const char linkName[] = "tolvane-TolvaneModem_1";

inline QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Folders of the test's own, and a stand-in for pppd that does what the test
/// plans. prepare() before each case, endLinks() after it.
class PppdFixture
{
public:
    void prepare()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        QDir(m_folder->path()).mkpath("peers");
        QDir(m_folder->path()).mkpath("run");
        m_paths.state = m_folder->filePath("state");
        m_paths.peers = m_folder->filePath("peers");
        m_paths.run = m_folder->filePath("run");
        m_paths.pppd = QCoreApplication::applicationDirPath() + "/standin/pppd";
        m_paths.drivers = "/drivers";
        useHelperStandIn(&m_paths, m_folder->path());
        qputenv("STANDIN_ARGUMENTS", m_folder->filePath("arguments").toLocal8Bit());
        qputenv("STANDIN_DESCRIPTORS", m_folder->filePath("descriptors").toLocal8Bit());
        plan("");
        platform::setLastError(platform::Success);
    }

    void endLinks() const
    {
        for (const platform::linuxsystem::ActiveLink &link : links())
            ::kill(link.process, SIGKILL);
    }

    /// The command of a helper that dials what it is told, without a look at the
    /// phone book.
    QStringList uncheckedHelper() const
    {
        qputenv("STANDIN_UNCHECKED", "1");
        return helperCommand(m_paths, platform::linuxsystem::Role::Connect);
    }

    /// What the stand-in does next: see standin/pppd.cpp.
    static void plan(const QByteArray &steps) { qputenv("STANDIN_PPPD", steps); }

    /// What is connected now.
    QList<platform::linuxsystem::ActiveLink> links() const
    {
        return platform::linuxsystem::activeLinks(
            platform::linuxsystem::PhoneBook(programIdentity(), m_paths), m_paths.run);
    }

    /// The link's process; 0 when it did not come up.
    pid_t startLink(const QByteArray &interface, const QString &name = linkName,
                    const QByteArray &first = {}) const
    {
        plan(first + "link:" + interface);
        QProcess process;
        process.start(m_paths.pppd, {"call", name});
        if (!process.waitForFinished())
            return 0;
        return contentOf(m_paths.run + "/ppp-" + name + ".pid").split('\n').first().toInt();
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    platform::linuxsystem::SystemPaths m_paths;
};
