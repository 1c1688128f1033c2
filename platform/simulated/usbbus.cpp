#include "platform/simulated/usbbus.h"

#include "platform/standin/machine.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <cstdio>

namespace platform::simulated {

namespace {

/// Whether a process runs; one that only waits to be reaped does not.
bool isAlive(qint64 pid)
{
    QFile file(QString("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray status = file.readAll();
    // The name in brackets before the state may hold anything, brackets too.
    const QByteArray state = status.mid(status.lastIndexOf(')') + 2, 1);
    return state != "Z" && state != "X";
}

bool readSocket(const QString &path, PhoneOnBus *phone)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false; // unplugged a moment ago
    if (!phone->fromJson(file.readAll())) {
        std::fprintf(stderr, "simulated PC: %s does not describe a phone\n", qPrintable(path));
        return false;
    }
    return isAlive(phone->processId);
}

int numberForSocket(int socket, MachineState *state, bool *assigned)
{
    const auto known = state->portOfSocket.constFind(socket);
    if (known != state->portOfSocket.constEnd())
        return *known;
    const QList<int> taken = state->portOfSocket.values();
    int number = FirstPluggedPort;
    // Numbers of phones that are away stay reserved, as on Windows.
    while (taken.contains(number) || number == OnBoardPort)
        ++number;
    state->portOfSocket[socket] = number;
    *assigned = true;
    return number;
}

} // namespace

QString PresentPort::friendlyName() const
{
    return QString("%1 (COM%2)").arg(phone.product).arg(number);
}

QList<PhoneOnBus> phonesOnBus(const QString &directory)
{
    QList<PhoneOnBus> phones;
    const QDir bus(directory + "/usb");
    for (const QString &name : bus.entryList(QDir::Files)) {
        PhoneOnBus phone;
        phone.socket = virtualphone::socketOfFileName(name);
        if (phone.socket > 0 && readSocket(bus.filePath(name), &phone))
            phones += phone;
    }
    std::sort(phones.begin(), phones.end(),
              [](const PhoneOnBus &a, const PhoneOnBus &b) { return a.socket < b.socket; });
    return phones;
}

std::optional<QList<PresentPort>> presentPorts(MachineSession *session)
{
    MachineState *state = &session->state;
    QList<PresentPort> ports;
    if (!state->portDriverInstalled)
        return ports;
    bool assigned = false;
    for (const PhoneOnBus &phone : phonesOnBus(session->directory())) {
        if (!state->unmatchedPlugIds.contains(phone.plugId))
            ports += PresentPort{numberForSocket(phone.socket, state, &assigned), phone};
    }
    if (assigned && !session->save())
        return std::nullopt;
    return ports;
}

void installPortDriver(const QString &directory, MachineState *state)
{
    if (state->portDriverInstalled)
        return; // installed again: its phones stay known
    state->portDriverInstalled = true;
    state->unmatchedPlugIds.clear();
    for (const PhoneOnBus &phone : phonesOnBus(directory))
        state->unmatchedPlugIds += phone.plugId;
}

void rescanBus(MachineState *state)
{
    if (state->portDriverInstalled)
        state->unmatchedPlugIds.clear();
}

bool dropDeadConnections(MachineSession *session)
{
    QList<Connection> *connections = &session->state.connections;
    if (connections->isEmpty())
        return true;
    const QList<PhoneOnBus> phones = phonesOnBus(session->directory());
    const auto isDead = [&](const Connection &connection) {
        return std::none_of(phones.begin(), phones.end(), [&](const PhoneOnBus &phone) {
            return phone.plugId == connection.plugId && phone.carrier;
        });
    };
    const auto firstDead = std::remove_if(connections->begin(), connections->end(), isDead);
    if (firstDead == connections->end())
        return true;
    connections->erase(firstDead, connections->end());
    return session->save();
}

} // namespace platform::simulated
