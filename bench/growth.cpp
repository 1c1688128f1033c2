// growth connect|event|wizard|poll NUMBER
// Does the same thing that often in one process, in the program's window on the simulated
// PC in $SIMULATED_PC, which has to be set up and have a phone. Writes to the standard
// error, for each time: microseconds of processor time of its thread, bytes of heap in use,
// descriptors, threads.

#include "bench/windowprogram.h"
#include "mainwindow/mainwindow.h"
#include "wizard/settingswizard.h"

#include <QAction>
#include <QDir>
#include <QMap>
#include <QPushButton>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <ctime>
#include <malloc.h>

namespace {

int entriesOf(const char *folder)
{
    return static_cast<int>(QDir(folder).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size());
}

/// Of the window's thread, in microseconds. Other work on the machine does not disturb it.
long long processorTime()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<long long>(time.tv_sec) * 1000000 + time.tv_nsec / 1000;
}

void press(const MainWindow &window, const char *button)
{
    auto *found = window.findChild<QPushButton *>(button);
    if (found->isHidden())
        qFatal("the window offers no %s", button);
    found->click();
}

void connectAndDisconnect(MainWindow &window)
{
    press(window, "connectButton");
    press(window, "disconnectButton");
}

/// The newest child is the wizard. All earlier ones are there, too, and looking through
/// them would be measured with it.
void openWizard(MainWindow &window)
{
    static auto *action = window.findChild<QAction *>("actionCreate_New_Connection");
    action->trigger();
    QApplication::processEvents();
    auto *wizard = qobject_cast<SettingsWizard *>(window.children().last());
    if (!wizard || !wizard->isVisible())
        qFatal("no wizard opens");
    wizard->button(QWizard::CancelButton)->click();
    if (!window.isVisible())
        qFatal("the window does not come back");
}

/// What one of the four event objects costs that each connection leaves open.
void makeEvent(MainWindow &)
{
    if (!platform::current().CreateEventW(nullptr, true, false, nullptr))
        qFatal("no event");
}

void poll(MainWindow &window)
{
    QMetaObject::invokeMethod(&window, "CheckDialupConnectionStatus");
    if (window.findChild<QPushButton *>("disconnectButton")->isHidden())
        qFatal("the connection is gone");
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3)
        return 2;
    const QMap<QString, void (*)(MainWindow &)> cases{{"connect", connectAndDisconnect},
                                                      {"event", makeEvent},
                                                      {"wizard", openWizard},
                                                      {"poll", poll}};
    const auto once = cases.value(argv[1]);
    if (!once)
        return 2;
    const int number = std::atoi(argv[2]);
    WindowProgram program(argc, argv);
    MainWindow window;
    for (QTimer *timer : window.findChildren<QTimer *>())
        timer->stop(); // nothing happens by itself
    QApplication::processEvents();
    if (once == poll && window.findChild<QPushButton *>("disconnectButton")->isHidden())
        press(window, "connectButton");

    for (int i = 0; i < number; ++i) {
        const long long before = processorTime();
        once(window);
        const long long microseconds = processorTime() - before;
        QApplication::processEvents();
        // Polls are seconds apart; the log's writer is to keep up here, too.
        QThread::usleep(500);
        const struct mallinfo2 heap = ::mallinfo2();
        std::fprintf(stderr, "\n#%lld %zu %d %d\n", microseconds, heap.uordblks + heap.hblkhd,
                     entriesOf("/proc/self/fd"), entriesOf("/proc/self/task"));
    }
    return 0;
}
