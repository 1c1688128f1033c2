#include "virtualphone/openingwatch.h"

#include <QFile>

#include <sys/inotify.h>
#include <unistd.h>

namespace virtualphone {

OpeningWatch::~OpeningWatch()
{
    stop();
}

bool OpeningWatch::start(const QString &node, const std::function<void()> &openAndClose)
{
    stop();
    m_descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_descriptor < 0 || inotify_add_watch(m_descriptor, QFile::encodeName(node).constData(),
                                              IN_OPEN | IN_CLOSE) < 0) {
        stop();
        return false;
    }
    // Whether a peer's opening is told differs between kernels; its closing is.
    openAndClose();
    const QVector<bool> events = takeEvents();
    m_ownOpenings = static_cast<int>(events.count(true));
    m_ownClosings = static_cast<int>(events.count(false));
    m_openings = 0;
    m_wasClosed = false;
    return true;
}

void OpeningWatch::stop()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
    m_descriptor = -1;
}

void OpeningWatch::beginOwnOpening()
{
    count(takeEvents());
}

void OpeningWatch::endOwnOpening()
{
    QVector<bool> events = takeEvents();
    for (int i = 0; i < m_ownOpenings; ++i)
        events.removeOne(true);
    for (int i = 0; i < m_ownClosings; ++i) {
        const auto last = events.lastIndexOf(false);
        if (last >= 0)
            events.remove(last);
    }
    count(events);
}

bool OpeningWatch::takeClosing()
{
    count(takeEvents());
    const bool wasClosed = m_wasClosed;
    m_wasClosed = false;
    return wasClosed;
}

QVector<bool> OpeningWatch::takeEvents()
{
    QVector<bool> opened;
    alignas(inotify_event) char buffer[4096];
    ssize_t size = 0;
    while (m_descriptor >= 0 && (size = ::read(m_descriptor, buffer, sizeof buffer)) > 0) {
        ssize_t offset = 0;
        while (offset < size) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            if (event->mask & (IN_OPEN | IN_CLOSE))
                opened += (event->mask & IN_OPEN) != 0;
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    return opened;
}

void OpeningWatch::count(const QVector<bool> &events)
{
    for (const bool isOpening : events) {
        if (isOpening)
            ++m_openings;
        else if (m_openings > 0 && --m_openings == 0)
            m_wasClosed = true;
    }
}

} // namespace virtualphone
