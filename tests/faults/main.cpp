// Every call that a first run, a connection and a second start make, with every
// way in which it may fail. Not made with QTest: that has a thread of its own,
// and a process with several cannot be copied.
//
//   faultmatrix MACHINE [PART]   the first way of each call, and all unusual answers
//   faultmatrix --all MACHINE [PART]
//                                every way. PART picks the cells whose name has it.
//   faultmatrix --every N ...    only each N-th of these

#include "app/formfont.h"
#include "app/identity.h"
#include "tests/faults/apart.h"
#include "tests/faults/commandline.h"
#include "tests/faults/matrix.h"

#include <QApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <cstdlib>

using namespace faults;

namespace {

/// Calls that are not made to fail, with the reason.
const struct {
    const char *operation;
    const char *part; ///< "": any
    int call;         ///< 0: any
    bool always;      ///< only where all later calls fail, too
    bool onlyReal;    ///< only on machines with a modem that hears what is written
    const char *reason;
} leftOut[] = {
    {"GetProcAddress", rescanStep, 0, false, false, "every release has it, so nobody looks"},
    {"GetProcAddress", modemStep, 2, false, false, "every release has it, so nobody looks"},
    {"GetProcAddress", "", 0, true, false, "every release has it, so nobody looks"},
    {"ReadFile", "", 0, true, false, "the modem is waited for without an end"},
    {"CreateEventW", connectPhase, 0, false, true, "the modem is waited for without an end"},
    {"CreateEventW", "", 0, true, true, "the modem is waited for without an end"},
    {"WriteFile", "", 0, false, true, "the modem is waited for without an end"},
    {"WriteFile", "", 0, true, true, "the modem is waited for without an end"},
    {"WaitCommEvent", "", 0, false, true, "the modem is waited for without an end"},
    {"WaitCommEvent", "", 0, true, true, "the modem is waited for without an end"},
    {"ReadFile", "", 0, false, true, "the modem is waited for without an end"},
    {"WaitForSingleObject", connectPhase, 0, false, true, "two answers come as one, and are none"},
};

const char *reasonToLeaveOut(const Cell &cell, bool isReal)
{
    const Fault &fault = cell.fault;
    for (const auto &row : leftOut) {
        if (fault.operation == QLatin1String(row.operation) && cell.always == row.always &&
            (isReal || !row.onlyReal) &&
            (*row.part == 0 || fault.part == QLatin1String(row.part)) &&
            (row.call == 0 || row.call == fault.call))
            return row.reason;
    }
    return nullptr;
}

/// The first failure code of each call, and every unusual answer.
QList<Cell> shortened(const QList<Cell> &all)
{
    QList<Cell> some;
    QString last;
    for (const Cell &cell : all) {
        const QString call = cell.fault.operation + QString::number(cell.overall);
        if (!cell.always && (call != last || !cell.fault.how.at(0).isDigit()))
            some += cell;
        last = call;
    }
    return some;
}

/// What is to be run, as the command line says it.
struct Choice {
    QString machine;
    bool isWhole = false;
    int every = 1;
    QString part;
};

int runMatrix(const Choice &choice, const MachineMaker &maker)
{
    QElapsedTimer time;
    time.start();
    // A link lives on when its walk has ended badly, and would keep this output open.
    const bool hasLinks = choice.machine == "linux";
    if (hasLinks)
        adoptOrphans();
    Matrix matrix(maker);
    QString complaint;
    const QList<Cell> all = matrix.record(&complaint);
    if (!complaint.isEmpty()) {
        std::printf("Without a fault:\n%s", qPrintable(complaint));
        return EXIT_FAILURE;
    }
    int passed = 0;
    int failed = 0;
    int left = 0;
    int place = 0;
    for (const Cell &cell : choice.isWhole ? all : shortened(all)) {
        if (!cell.name().contains(choice.part))
            continue;
        if (const char *reason = reasonToLeaveOut(cell, choice.machine != "scripted")) {
            if (choice.isWhole)
                std::printf("Left out: %s (%s)\n", qPrintable(cell.name()), reason);
            ++left;
            continue;
        }
        if (++place % choice.every != 0)
            continue;
        complaint = matrix.run(cell);
        if (hasLinks)
            endOrphans();
        complaint.isEmpty() ? ++passed : ++failed;
        std::printf("%s", qPrintable(complaint));
    }
    std::printf("Machine: %s. Cells: %d in all, %d run, %d left out. %.1f s.\n",
                qPrintable(choice.machine), int(all.size()), passed + failed, left,
                double(time.elapsed()) / 1000);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 && passed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    setApplicationIdentity();
    useFormFont();
    QStringList arguments = QApplication::arguments().mid(1);
    Choice choice;
    choice.isWhole = arguments.removeAll("--all") > 0;
    choice.every = takeEvery(&arguments);
    choice.machine = arguments.value(0);
    choice.part = arguments.value(1);
    const MachineMaker maker = machineNamed(choice.machine);
    if (!maker) {
        std::fputs("Usage: faultmatrix [--all] [--every N] scripted|simulated|linux [PART]\n",
                   stderr);
        return 2;
    }
    return runMatrix(choice, maker);
}
