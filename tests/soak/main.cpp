// Hours of use, compressed: phone plugged and pulled, connections made and lost,
// wizards and dialogs opened, the program closed and started again. Nothing may grow
// but what is kept on purpose.
//
//   soak scripted|simulated [HOURS]

#include "app/formfont.h"
#include "app/identity.h"
#include "app/messagelog.h"
#include "tests/faults/folders.h"
#include "tests/faults/machines.h"
#include "tests/soak/day.h"
#include "tests/soak/levels.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

using namespace faults;
using namespace soak;

namespace {

constexpr int Minutes = 10;    // for which the program is open
constexpr int Warming = 2;     // times that it is open until the toolkit has filled its caches
constexpr qint64 Play = 32000; // bytes by which caches and tables go up and down
// A machine's table of handles doubles: a pointer, and room for another.
constexpr qint64 TableRoom = 2 * sizeof(void *);

void useSettingsIn(const QString &folder)
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder + "/user");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder + "/system");
}

/// What the person did, and what was kept.
void print(FILE *report, const Day &day)
{
    for (auto it = day.done().cbegin(); it != day.done().cend(); ++it) {
        std::fprintf(report, "  %4d times: %s", it.value(), qPrintable(it.key()));
        if (day.kept().value(it.key()) > Play)
            std::fprintf(report, "; until the window closes it keeps %lld bytes",
                         static_cast<long long>(day.kept().value(it.key())));
        std::fputc('\n', report);
    }
}

qint64 median(QList<qint64> values)
{
    std::sort(values.begin(), values.end());
    return values.value(values.size() / 2);
}

/// Nothing but the events that are never closed.
bool hasGrown(FILE *report, const Levels &first, const Levels &last, const QList<qint64> &bytes,
              qint64 events)
{
    const int third = static_cast<int>(bytes.size()) / 3;
    const struct {
        const char *what;
        qint64 before;
        qint64 after;
        qint64 allowed;
    } rows[] = {
        {"bytes", median(bytes.mid(0, third)), median(bytes.mid(2 * third)),
         Play + events * TableRoom},
        {"descriptors", first.descriptors, last.descriptors, 0},
        {"threads", first.threads, last.threads, 0},
        {"windows", first.windows, last.windows, 0},
        {"widgets", first.widgets, last.widgets, 0},
    };
    bool grows = false;
    for (const auto &row : rows) {
        const bool isTooMuch = row.after - row.before > row.allowed;
        grows = grows || isTooMuch;
        std::fprintf(report, "  %-12s %10lld -> %10lld%s\n", row.what,
                     static_cast<long long>(row.before), static_cast<long long>(row.after),
                     isTooMuch ? "  GROWS" : "");
    }
    return grows;
}

/// The bytes of one event. The table of them, which doubles now and then, is not meant,
/// nor what other threads give back meanwhile.
qint64 eventCost(platform::Platform *system)
{
    constexpr int Batches = 9;
    constexpr int Some = 200;
    QList<qint64> costs;
    for (int batch = 0; batch < Batches; ++batch) {
        const qint64 before = allocatedBytes();
        for (int i = 0; i < Some; ++i)
            system->CreateEventW(nullptr, true, false, nullptr);
        costs.append((allocatedBytes() - before) / Some);
    }
    return median(costs);
}

int soakOn(WalkedMachine *machine, int hours, FILE *report)
{
    platform::Platform *system = machine->platform();
    platform::setCurrent(system);
    qint64 events = 0;
    system->CreateEventW.wrap([&](auto &next, auto... arguments) {
        ++events;
        return next(arguments...);
    });
    const qint64 cost = eventCost(system);

    // Some machines' dialogs stay to tell of a failure.
    QTimer dialogs;
    QObject::connect(&dialogs, &QTimer::timeout, [&] { machine->answerDialogs(); });
    dialogs.start(5);
    QElapsedTimer time;
    time.start();
    const int threads = levels(INT_MAX).threads; // nothing has used the pool
    Day day(machine, threads);
    int starts = 0;
    for (; starts < Warming; ++starts)
        day.useProgram(Minutes);
    const Levels first = levels(threads);
    QList<qint64> bytes; // without the events, after each start
    events = 0;
    for (; day.now() < qint64(hours) * 3600000; ++starts) {
        day.useProgram(Minutes);
        bytes.append(levels(threads).bytes - events * cost);
    }
    const Levels last = levels(threads);

    std::fprintf(report, "%.1f hours of use in %.1f s, the program started %d times:\n",
                 double(day.now()) / 3600000, double(time.elapsed()) / 1000, starts);
    print(report, day);
    std::fprintf(report,
                 "After start %d and after the last one, the bytes from the first third of them to "
                 "the last one, without the %lld events of the serial link of %lld bytes each that "
                 "are not closed, on purpose:\n",
                 Warming, static_cast<long long>(events), static_cast<long long>(cost));
    const bool isRight = !hasGrown(report, first, last, bytes, events) && machine->misuses() == 0;
    std::fprintf(report, isRight ? "1 passed, 0 failed\n" : "0 passed, 1 failed\n");
    return isRight ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char *argv[])
{
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    setApplicationIdentity();
    useFormFont();
    const QByteArray name = argv[1];
    if (argc < 2 || (name != "scripted" && name != "simulated")) {
        std::fputs("Usage: soak scripted|simulated [HOURS]\n", stderr);
        return 2;
    }
    const QTemporaryDir folder(folderTemplate());
    useSettingsIn(folder.path());
    // What the program prints and logs goes where nobody reads it.
    FILE *report = ::fdopen(::dup(STDOUT_FILENO), "w");
    if (!report || !std::freopen("/dev/null", "w", stdout))
        return EXIT_FAILURE;
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
        if (type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
    startMessageLog(folder.filePath("log"));
    qDebug("the log's thread starts with the first line");
    const std::unique_ptr<WalkedMachine> machine =
        name == "scripted" ? scriptedMachine(folder.path()) : simulatedMachine(folder.path());
    const int result =
        soakOn(machine.get(), std::max(1, argc > 2 ? std::atoi(argv[2]) : 1), report);
    finishMessageLog();
    std::fclose(report);
    return result;
}
