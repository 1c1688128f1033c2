#include "platform/linux/activelinks.h"

#include "platform/linux/phonebook.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <ifaddrs.h>
#include <net/if.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The arguments of a running pppd; empty for any other process and for none.
QList<QByteArray> pppdArguments(pid_t process)
{
    const QString folder = QString("/proc/%1/").arg(process);
    if (contentOf(folder + "comm") != "pppd\n")
        return {};
    return contentOf(folder + "cmdline").split('\0');
}

bool hasAddress(const QByteArray &interface)
{
    ifaddrs *addresses = nullptr;
    if (::getifaddrs(&addresses) != 0)
        return false;
    bool found = false;
    for (const ifaddrs *entry = addresses; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET &&
            interface == entry->ifa_name && (entry->ifa_flags & IFF_UP))
            found = true;
    }
    ::freeifaddrs(addresses);
    return found;
}

/// pppd leaves its process number and, from the moment it has one, the name of
/// the interface.
bool readLink(const QString &path, const QString &linkName, ActiveLink *link)
{
    const QList<QByteArray> lines = contentOf(path).split('\n');
    link->process = lines.first().trimmed().toInt();
    if (link->process <= 0 || lines.size() < 2 || !hasAddress(lines.at(1)))
        return false;
    link->interface = QString::fromLatin1(lines.at(1));
    // A process number comes round again: only a pppd that was told this very
    // link is the one.
    return pppdArguments(link->process).contains(linkName.toLatin1());
}

} // namespace

QList<ActiveLink> activeLinks(const QString &runFolder)
{
    QList<ActiveLink> links;
    const QString prefix = "ppp-";
    const QString suffix = ".pid";
    // Some builds of pppd use a subfolder.
    for (const QString &path : {runFolder, runFolder + "/pppd"}) {
        const QDir folder(path);
        for (const QString &file : folder.entryList({prefix + '*' + suffix}, QDir::Files)) {
            const QString linkName =
                file.mid(prefix.size(), file.size() - prefix.size() - suffix.size());
            const std::optional<QString> entry = PhoneBook::entryName(linkName);
            ActiveLink link;
            if (!entry || !readLink(folder.filePath(file), linkName, &link))
                continue;
            link.entryName = *entry;
            links.append(link);
        }
    }
    return links;
}

DWORD endLink(const ActiveLink &link, int patience)
{
    // The descriptor stands for this process alone, even when it ends and its
    // number is given away before the signal is sent.
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, link.process, 0));
    const bool isIt =
        process >= 0 &&
        pppdArguments(link.process).contains(PhoneBook::fileName(link.entryName).toLatin1());
    if (!isIt) {
        if (process >= 0)
            ::close(process);
        return ErrorInvalidHandle;
    }
    if (::syscall(SYS_pidfd_send_signal, process, SIGTERM, nullptr, 0) != 0) {
        const DWORD code = errno == EPERM ? ErrorAccessDenied : ErrorInvalidHandle;
        ::close(process);
        return code;
    }
    pollfd ended = {process, POLLIN, 0};
    while (::poll(&ended, 1, patience) < 0 && errno == EINTR) {
    }
    ::close(process);
    return Success;
}

} // namespace platform::linuxsystem
