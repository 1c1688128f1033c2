#include "platform/simulated/hangup.h"

#include "platform/atline/resultcode.h"
#include "platform/posix/serialdevice.h"
#include "platform/ras.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"

#include <QByteArray>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <poll.h>
#include <unistd.h>

using namespace platform;

namespace platform::simulated {

namespace {

constexpr qint64 LongestHangUpMs = 2400;
constexpr qint64 AnswerMs = 500; // what the phone gets to answer, guard time apart

void write(int line, const char *text)
{
    const QByteArray bytes(text);
    while (::write(line, bytes.constData(), static_cast<size_t>(bytes.size())) < 0 &&
           errno == EINTR) {
    }
}

/// Whether one of the lines that have ended says OK.
bool saysOk(const QByteArray &received)
{
    QList<QByteArray> lines = received.split('\r');
    lines.removeLast(); // not ended yet
    return std::any_of(lines.begin(), lines.end(), [](const QByteArray &line) {
        return atline::resultCode(line.trimmed().toStdString()) == atline::ResultCode::Ok;
    });
}

/// Reads until the phone says OK; false when it does not in time or is gone.
bool waitForOk(int line, qint64 milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    QByteArray received;
    for (;;) {
        const qint64 left = milliseconds - timer.elapsed();
        pollfd state = {line, POLLIN, 0};
        const int ready = left <= 0 ? 0 : ::poll(&state, 1, static_cast<int>(left));
        if (ready == 0)
            return false;
        char buffer[256];
        const ssize_t count = ready < 0 ? -1 : ::read(line, buffer, sizeof buffer);
        if (count < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (count <= 0)
            return false;
        received.append(buffer, static_cast<int>(count));
        if (saysOk(received))
            return true;
    }
}

/// Whatever arrives while nothing may be sent is data of the connection.
void keepSilent(int line, qint64 milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        const qint64 left = milliseconds - timer.elapsed();
        if (left <= 0)
            return;
        pollfd state = {line, POLLIN, 0};
        char buffer[256];
        if (::poll(&state, 1, static_cast<int>(left)) > 0 &&
            ::read(line, buffer, sizeof buffer) <= 0)
            return;
    }
}

/// The phone's line, or -1 when there is none left to hang up.
int openLineOf(const QString &directory, const Connection &connection)
{
    for (const PhoneOnBus &phone : phonesOnBus(directory)) {
        if (phone.plugId != connection.plugId)
            continue;
        DWORD error = Success;
        return openSerialDevice(QFile::encodeName(phone.tty).constData(), &error);
    }
    return -1;
}

void talkDown(int line, const Connection &connection, qint64 guardMs)
{
    QElapsedTimer timer;
    timer.start();
    // Nothing was sent since the connection came up: that silence counts.
    const auto silent = static_cast<qint64>(
        static_cast<double>(QDateTime::currentMSecsSinceEpoch()) - connection.since);
    const qint64 missing = silent < 0 ? guardMs : std::max<qint64>(guardMs - silent, 0);
    keepSilent(line, std::min(missing, LongestHangUpMs));
    write(line, "+++");
    bool answered =
        waitForOk(line, std::min(guardMs + AnswerMs, LongestHangUpMs - timer.elapsed()));
    if (answered) {
        write(line, "ATH\r");
        answered = waitForOk(line, std::min(AnswerMs, LongestHangUpMs - timer.elapsed()));
    }
    if (!answered)
        std::fprintf(stderr, "simulated PC: RasHangUpW: the phone did not answer\n");
}

} // namespace

DWORD hangUp(const QString &directory, int handle)
{
    Connection connection;
    qint64 guardMs = 0;
    {
        MachineSession session(directory);
        dropDeadConnections(&session);
        const QList<Connection> &all = session.state.connections;
        const auto found = std::find_if(all.begin(), all.end(), [handle](const Connection &each) {
            return each.handle == handle;
        });
        if (found == all.end())
            return RasErrorInvalidHandle;
        connection = *found;
        guardMs = session.state.hangUpGuardMs;
    }

    // Nobody else may be kept from the machine while the phone takes its time:
    // the session above has ended.
    const int line = openLineOf(directory, connection);
    if (line >= 0) {
        talkDown(line, connection, guardMs);
        closeSerialDevice(line);
    }

    MachineSession session(directory);
    QList<Connection> &all = session.state.connections;
    all.erase(std::remove_if(all.begin(), all.end(),
                             [handle](const Connection &each) { return each.handle == handle; }),
              all.end());
    return session.save() ? Success : ErrorGenFailure;
}

} // namespace platform::simulated
