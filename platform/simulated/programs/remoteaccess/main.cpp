#include "platform/simulated/machinestate.h"
#include "platform/simulated/usbbus.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

// The remote access service of the simulated PC: holds the line of one
// connection open until the connection has ended. Started by what dialled; see
// platform/simulated/linehold.h.
namespace {

using namespace platform::simulated;

/// Looks at the machine without taking its lock, and makes nothing: the
/// machine's directory may be gone together with the connection.
bool isConnected(const QString &directory, int handle)
{
    QFile file(directory + "/pc.json");
    MachineState state;
    QString error;
    if (!file.open(QIODevice::ReadOnly) || !state.fromJson(file.readAll(), &error))
        return false;
    const auto connection =
        std::find_if(state.connections.begin(), state.connections.end(),
                     [handle](const Connection &each) { return each.handle == handle; });
    if (connection == state.connections.end())
        return false;
    const QList<PhoneOnBus> phones = phonesOnBus(directory);
    return std::any_of(phones.begin(), phones.end(), [&](const PhoneOnBus &phone) {
        return phone.plugId == connection->plugId && phone.carrier;
    });
}

/// Waits until something in the machine has changed. False when the line has
/// been hung up, or nothing can be waited for.
bool waitForChange(int changes, int line)
{
    // What arrives on the line is the network's, and nobody's here.
    pollfd waiting[] = {{changes, POLLIN, 0}, {line, 0, 0}};
    while (::poll(waiting, 2, -1) < 0) {
        if (errno != EINTR)
            return false;
    }
    if (waiting[1].revents != 0)
        return false;
    alignas(inotify_event) char events[4096];
    return ::read(changes, events, sizeof events) > 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QStringList arguments = [&] {
        QStringList list;
        for (int i = 1; i < argc; ++i)
            list += QFile::decodeName(argv[i]);
        return list;
    }();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: simulated-remoteaccess DIRECTORY HANDLE LINE\n"
                             "Holds LINE, an open descriptor, as long as connection HANDLE of the "
                             "simulated PC in DIRECTORY is up.\n");
        return 2;
    }
    const QString &directory = arguments.at(0);
    const int handle = arguments.at(1).toInt();
    const int line = arguments.at(2).toInt();
    const int changes = inotify_init1(IN_CLOEXEC);
    // Files of the machine and of its sockets are replaced, never rewritten.
    for (const QString &folder : {directory, directory + "/usb"})
        inotify_add_watch(changes, QFile::encodeName(folder).constData(), IN_MOVED_TO | IN_DELETE);
    while (isConnected(directory, handle) && waitForChange(changes, line)) {
    }
    return 0;
}
