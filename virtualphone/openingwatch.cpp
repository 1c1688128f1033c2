#include "virtualphone/openingwatch.h"

#include <QFile>

#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

namespace virtualphone {

OpeningWatch::OpeningWatch(std::function<bool()> isOpen) : m_isOpen(std::move(isOpen)) {}

OpeningWatch::~OpeningWatch()
{
    stop();
}

bool OpeningWatch::start(const QString &node)
{
    stop();
    m_descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (m_descriptor < 0 || inotify_add_watch(m_descriptor, QFile::encodeName(node).constData(),
                                              IN_OPEN | IN_CLOSE) < 0) {
        stop();
        return false;
    }
    m_tellsOwnOpenings.reset();
    m_openings = 0;
    m_isAssumed = false;
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
    update();
}

void OpeningWatch::endOwnOpening()
{
    const bool wasOpen = m_isOpen();
    QVector<Event> events = takeEvents();
    const auto opening = static_cast<int>(events.indexOf(Event::Opened));
    if (!m_tellsOwnOpenings) // the first one, of a node that nobody else has opened
        m_tellsOwnOpenings = opening >= 0;
    if (*m_tellsOwnOpenings && opening >= 0)
        events.remove(opening);
    const auto closing = static_cast<int>(events.lastIndexOf(Event::ClosedForReading));
    if (closing >= 0)
        events.remove(closing);
    count(events, wasOpen);
}

void OpeningWatch::update()
{
    const bool wasOpen = m_isOpen();
    count(takeEvents(), wasOpen);
}

void OpeningWatch::updateAfterBytes()
{
    update();
    if (!m_wasClosed) // otherwise they may have come before that
        m_isAssumed = false;
}

QVector<OpeningWatch::Event> OpeningWatch::takeEvents()
{
    QVector<Event> events;
    alignas(inotify_event) char buffer[4096];
    ssize_t size = 0;
    while (m_descriptor >= 0 && (size = ::read(m_descriptor, buffer, sizeof buffer)) > 0) {
        ssize_t offset = 0;
        while (offset < size) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
            if (event->mask & IN_OPEN)
                events += Event::Opened;
            else if (event->mask & IN_CLOSE_NOWRITE)
                events += Event::ClosedForReading;
            else if (event->mask & IN_CLOSE_WRITE)
                events += Event::Closed;
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    return events;
}

void OpeningWatch::count(const QVector<Event> &events, bool wasOpen)
{
    for (const Event event : events) {
        if (event == Event::Opened) {
            // Perhaps only the news of what the master has shown before.
            m_openings += std::exchange(m_isAssumed, false) ? 0 : 1;
        } else if (m_openings > 0 && --m_openings == 0) {
            m_isAssumed = false;
            m_wasClosed = true;
        }
    }
    const bool endsClosed = !events.isEmpty() && events.last() != Event::Opened;
    if (!m_isOpen()) {
        m_openings = 0;
        m_isAssumed = false;
    } else if (wasOpen && !endsClosed && m_openings == 0) {
        m_openings = 1;
        m_isAssumed = true;
    }
}

} // namespace virtualphone
