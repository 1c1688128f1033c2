#include "tests/linux/guest/guestsystem.h"

#include "tests/desktop/waiting.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSettings>

#include <arpa/inet.h>
#include <ifaddrs.h>

namespace {

const char pageAddress[] = "http://10.9.0.1/";

} // namespace

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString runInGuest(const QString &program, const QStringList &arguments, int *status)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    expect(process.waitForFinished(patience), program + " does not end");
    if (status)
        *status = process.exitCode();
    return QString::fromLocal8Bit(process.readAll());
}

bool isLinkUp()
{
    ifaddrs *addresses = nullptr;
    expect(::getifaddrs(&addresses) == 0, "Cannot list the addresses");
    bool found = false;
    for (const ifaddrs *entry = addresses; entry; entry = entry->ifa_next) {
        if (!entry->ifa_addr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        in_addr address = {};
        ::inet_pton(AF_INET, "10.9.0.2", &address);
        const auto *own = reinterpret_cast<const sockaddr_in *>(entry->ifa_addr);
        found = found || own->sin_addr.s_addr == address.s_addr;
    }
    ::freeifaddrs(addresses);
    return found;
}

pid_t processOf(const QByteArray &commandLine)
{
    const QStringList entries = QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs);
    for (const QString &entry : entries) {
        if (contentOf("/proc/" + entry + "/cmdline").replace('\0', ' ').startsWith(commandLine))
            return entry.toInt();
    }
    return 0;
}

void fetchPage()
{
    int status = 0;
    const QString page =
        runInGuest("curl", {"--silent", "--show-error", "--max-time", "20", pageAddress}, &status);
    expect(status == 0 && page == "This page came through the phone.\n", "The page: " + page);
}

pid_t linkProcess()
{
    return contentOf(linkFile).split('\n').first().toInt();
}

pid_t networkProcess()
{
    return processOf("pppd notty");
}

QString settingsFile(const QString &folder)
{
    return folder + "/Brantiq Developer Network/Tolvane Modem Connector.ini";
}

QVariant setting(const QString &key, const QString &folder)
{
    return QSettings(settingsFile(folder), QSettings::IniFormat).value(key);
}

QStringList changedFiles()
{
    const QString output = runInGuest("find", {"/changes",
                                               "-path",
                                               "/changes/root",
                                               "-prune",
                                               "-o",
                                               "-path",
                                               "/changes/home",
                                               "-prune",
                                               "-o",
                                               "-path",
                                               "/changes/var/lib/dpkg",
                                               "-prune",
                                               "-o",
                                               "-path",
                                               "/changes/var/cache",
                                               "-prune",
                                               "-o",
                                               "-path",
                                               "/changes/var/log",
                                               "-prune",
                                               "-o",
                                               "(",
                                               "!",
                                               "-type",
                                               "d",
                                               "-o",
                                               "-name",
                                               "*olvane*",
                                               ")",
                                               "-print"});
    return output.split('\n', Qt::SkipEmptyParts);
}

QString networkState()
{
    return runInGuest("ip", {"route"}) + contentOf("/etc/resolv.conf");
}
