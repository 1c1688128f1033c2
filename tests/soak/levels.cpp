#include "tests/soak/levels.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QDir>
#include <QPixmapCache>
#include <QThread>
#include <QThreadPool>

#include <cstddef>

// Both sanitizers have it; its header comes with Clang only.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

namespace soak {

namespace {

int entriesOf(const char *folder)
{
    return static_cast<int>(
        QDir(folder)
            .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden)
            .size());
}

} // namespace

qint64 allocatedBytes()
{
    return static_cast<qint64>(__sanitizer_get_current_allocated_bytes());
}

Levels levels(int expectedThreads)
{
    const QDeadlineTimer patience(5000);
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QPixmapCache::clear(); // comes and goes with the time
    Levels now;
    for (const QWidget *widget : QApplication::allWidgets()) {
        const QWidget *window = widget->window();
        if (!qobject_cast<const QDialog *>(window))
            ++now.widgets;
        else if (widget == window)
            ++now.windows;
    }
    now.descriptors = entriesOf("/proc/self/fd");
    now.threads = entriesOf("/proc/self/task");
    while (now.threads > expectedThreads && !patience.hasExpired()) {
        QThread::yieldCurrentThread();
        now.threads = entriesOf("/proc/self/task");
    }
    now.bytes = allocatedBytes();
    return now;
}

} // namespace soak
