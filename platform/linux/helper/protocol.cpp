#include "platform/linux/helper/protocol.h"

#include <QJsonDocument>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

struct RoleWord {
    Role role;
    const char *word;
};

constexpr RoleWord roleWords[] = {
    {Role::SetUp, "set-up"},
    {Role::Connect, "connect"},
    {Role::EndOthers, "end-others"},
};

/// As write(2), but without the signal when the other end of a socket is closed.
ssize_t writeSome(int descriptor, const char *bytes, std::size_t count)
{
    const ssize_t sent = ::send(descriptor, bytes, count, MSG_NOSIGNAL);
    return sent < 0 && errno == ENOTSOCK ? ::write(descriptor, bytes, count) : sent;
}

} // namespace

QString wordOf(Role role)
{
    for (const RoleWord &each : roleWords) {
        if (each.role == role)
            return each.word;
    }
    return {};
}

std::optional<Role> roleOf(const QString &word)
{
    for (const RoleWord &each : roleWords) {
        if (word == QLatin1String(each.word))
            return each.role;
    }
    return std::nullopt;
}

QByteArray toLine(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<QJsonObject> fromLine(const QByteArray &line)
{
    const QJsonDocument document = QJsonDocument::fromJson(line);
    return document.isObject() ? std::make_optional(document.object()) : std::nullopt;
}

std::optional<QJsonObject> requestFromLine(const QByteArray &line)
{
    const std::optional<QJsonObject> object = fromLine(line);
    return object && toLine(*object) == line + '\n' ? object : std::nullopt;
}

bool sendLine(int descriptor, const QJsonObject &object)
{
    const QByteArray line = toLine(object);
    for (qsizetype sent = 0; sent < line.size();) {
        const ssize_t count = writeSome(descriptor, line.constData() + sent,
                                        static_cast<std::size_t>(line.size() - sent));
        if (count < 0 && errno != EINTR)
            return false;
        sent += count > 0 ? count : 0;
    }
    return true;
}

LineReader::Result LineReader::next(QByteArray *line, int milliseconds)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
        const auto end = m_buffer.indexOf('\n');
        if (end > LongestLine || (end < 0 && m_buffer.size() > LongestLine))
            return Result::TooLong;
        if (end >= 0) {
            *line = m_buffer.left(end);
            m_buffer.remove(0, end + 1);
            return Result::Line;
        }
        int left = -1;
        if (milliseconds >= 0) {
            const auto time =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            left = static_cast<int>(std::max<std::int64_t>(0, time.count()));
        }
        pollfd waiting = {m_descriptor, POLLIN, 0};
        const int ready = ::poll(&waiting, 1, left);
        if (ready == 0)
            return Result::Quiet;
        char bytes[4096];
        const ssize_t count = ready < 0 ? -1 : ::read(m_descriptor, bytes, std::size(bytes));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return Result::End;
        m_buffer.append(bytes, static_cast<int>(count));
    }
}

} // namespace platform::linuxsystem
