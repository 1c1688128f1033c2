#include "platform/linux/activelinks.h"

#include "platform/posix/storedfiles.h"

#include <QDir>
#include <QSet>

#include <cerrno>
#include <csignal>
#include <ifaddrs.h>
#include <net/if.h>
#include <optional>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

constexpr qint64 LargestFile = qint64{64} * 1024; // the arguments of a pppd

QByteArray contentOf(const QString &path)
{
    QByteArray content;
    return readStoredFile(path, LargestFile, &content) == Success ? content : QByteArray();
}

/// The arguments of a running pppd. Empty when no such process runs or when it
/// is another program.
QList<QByteArray> pppdArguments(pid_t process)
{
    const QString folder = QString("/proc/%1/").arg(process);
    if (contentOf(folder + "comm") != "pppd\n")
        return {};
    return contentOf(folder + "cmdline").split('\0');
}

/// The network interfaces that are up and have an address.
QSet<QByteArray> interfacesWithAddress()
{
    ifaddrs *addresses = nullptr;
    if (::getifaddrs(&addresses) != 0)
        return {};
    QSet<QByteArray> interfaces;
    for (const ifaddrs *entry = addresses; entry; entry = entry->ifa_next) {
        if (entry->ifa_addr && entry->ifa_addr->sa_family == AF_INET && (entry->ifa_flags & IFF_UP))
            interfaces.insert(entry->ifa_name);
    }
    ::freeifaddrs(addresses);
    return interfaces;
}

/// pppd writes its process number into the file and, once it has one, the name
/// of its network interface. False when the link is not up.
bool readLink(const QString &path, const QSet<QByteArray> &interfaces, ActiveLink *link)
{
    const QList<QByteArray> lines = contentOf(path).split('\n');
    link->process = lines.first().trimmed().toInt();
    if (link->process <= 0 || lines.size() < 2 || !interfaces.contains(lines.at(1)))
        return false;
    link->interface = QString::fromLatin1(lines.at(1));
    // The system uses process numbers again. So the process must be a pppd that
    // was started for this link.
    return pppdArguments(link->process).contains(link->name.toLatin1());
}

} // namespace

QList<ActiveLink> activeLinks(const PhoneBook &phoneBook, const QString &runFolder)
{
    QList<ActiveLink> links;
    std::optional<QSet<QByteArray>> interfaces; // asked for once, and only for a link
    const QString prefix = "ppp-";
    const QString suffix = ".pid";
    // Some builds of pppd use a subfolder.
    for (const QString &path : {runFolder, runFolder + "/pppd"}) {
        const QDir folder(path);
        for (const QString &file : folder.entryList({prefix + '*' + suffix}, QDir::Files)) {
            ActiveLink link;
            link.name = file.mid(prefix.size(), file.size() - prefix.size() - suffix.size());
            const std::optional<EntryName> entry = phoneBook.entryName(link.name);
            if (!entry)
                continue;
            if (!interfaces)
                interfaces = interfacesWithAddress();
            if (!readLink(folder.filePath(file), *interfaces, &link))
                continue;
            link.entryName = entry->name;
            link.owner = entry->owner;
            links.append(link);
        }
    }
    return links;
}

DWORD endLink(const ActiveLink &link, int patience)
{
    // The process may end before the signal is sent, and its number may go to
    // another process. The descriptor never stands for that one.
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, link.process, 0));
    const bool isIt = process >= 0 && pppdArguments(link.process).contains(link.name.toLatin1());
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
