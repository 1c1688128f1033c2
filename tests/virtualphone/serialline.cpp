#include "tests/virtualphone/serialline.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {
const int patienceMs = 3000;
}

SerialLine::SerialLine(const QString &device)
    : m_descriptor(
          ::open(QFile::encodeName(device).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
{
}

SerialLine::~SerialLine()
{
    if (isOpen())
        ::close(m_descriptor);
}

bool SerialLine::write(const QByteArray &bytes)
{
    int done = 0;
    while (done < bytes.size()) {
        pollfd waiting{m_descriptor, POLLOUT, 0};
        if (::poll(&waiting, 1, patienceMs) != 1)
            return false;
        const ssize_t count = ::write(m_descriptor, bytes.constData() + done,
                                      static_cast<size_t>(bytes.size() - done));
        if (count < 0 && errno != EAGAIN)
            return false;
        done += count < 0 ? 0 : static_cast<int>(count);
    }
    return true;
}

QByteArray SerialLine::readChunk()
{
    pollfd waiting{m_descriptor, POLLIN, 0};
    if (::poll(&waiting, 1, patienceMs) != 1)
        return {};
    char buffer[4096];
    const ssize_t count = ::read(m_descriptor, buffer, sizeof buffer);
    return count > 0 ? QByteArray(buffer, static_cast<int>(count)) : QByteArray();
}

QList<QByteArray> SerialLine::readChunks(int count)
{
    QList<QByteArray> chunks;
    while (chunks.size() < count) {
        const QByteArray chunk = readChunk();
        if (chunk.isEmpty())
            break;
        chunks += chunk;
    }
    return chunks;
}

QByteArray SerialLine::readBytes(int count)
{
    QByteArray bytes;
    while (bytes.size() < count) {
        const QByteArray chunk = readChunk();
        if (chunk.isEmpty())
            break;
        bytes += chunk;
    }
    return bytes;
}

bool SerialLine::waitForHangUp()
{
    pollfd waiting{m_descriptor, 0, 0};
    return ::poll(&waiting, 1, patienceMs) == 1 && (waiting.revents & POLLHUP);
}

bool SerialLine::hasInput() const
{
    pollfd waiting{m_descriptor, POLLIN, 0};
    return ::poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLIN);
}
