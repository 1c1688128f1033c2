// The phone is pulled at every point of a first run, a connection and a second start:
// before each call of the operating system, and where it hears a command. Whatever the
// program is doing then, the person can go on when the phone is plugged in again.
//
//   phonepulled [--every N] scripted|simulated|linux [PART]
//                                PART picks the moments whose name has it

#include "app/formfont.h"
#include "app/identity.h"
#include "app/settings.h"
#include "tests/faults/apart.h"
#include "tests/faults/callmoment.h"
#include "tests/faults/commandline.h"
#include "tests/faults/folders.h"
#include "tests/faults/machines.h"
#include "tests/faults/walk.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace faults;

namespace {

constexpr int Patience = 30; // seconds for a walk that takes a fraction of one

struct Moment {
    int call = 0;    ///< before which of all calls, from 1; 0: before none
    int command = 0; ///< which command the phone does not answer any more; 0: none
    bool isInSetUp = false;
    bool isShort = false; ///< plugged in again at once
    QString operation;    ///< of the call

    QString name() const
    {
        const QString where = call ? QString("before call #%1, %2").arg(call).arg(operation)
                                   : QString("at command #%1").arg(command);
        return where + (isShort ? ", plugged in again at once" : "");
    }
};

struct Report {
    Story story;
    QStringList calls;
    int setUpCalls = 0; ///< up to the end of the set-up
    int commands = 0;
    int port = 0;
    int misuses = 0;
    bool isPulled = false;    ///< before a call
    bool isConnected = false; ///< at the end, as the machine has it
};

QDataStream &operator<<(QDataStream &stream, const Report &report)
{
    return stream << report.story << report.calls << report.setUpCalls << report.commands
                  << report.port << report.misuses << report.isPulled << report.isConnected;
}

QDataStream &operator>>(QDataStream &stream, Report &report)
{
    return stream >> report.story >> report.calls >> report.setUpCalls >> report.commands >>
           report.port >> report.misuses >> report.isPulled >> report.isConnected;
}

void useSettingsIn(const QString &folder)
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder + "/user");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder + "/system");
}

/// One walk; what was wrong with it, "" when nothing was.
QString walk(const MachineMaker &maker, const QString &folder, const Moment &moment, bool isFirst,
             Report *report)
{
    const Apart apart = runApart(folder, Patience, [&](const auto &hand) {
        useSettingsIn(folder);
        const std::unique_ptr<WalkedMachine> machine = maker(folder);
        if (moment.command)
            machine->pullPhoneAtCommand(moment.command);
        CallMoment calls(*machine->platform(), moment.call, [&] {
            machine->pullPhone();
            if (moment.isShort)
                machine->plugPhone();
        });
        platform::setCurrent(&calls);
        Report seen;
        Walk person(machine.get(), [&](const Story &told) { seen.story = told; });
        person.phaseBegins = [&](const QString &phase) {
            if (phase == QLatin1String(connectPhase))
                seen.setUpCalls = static_cast<int>(calls.operations().size());
        };
        if (isFirst) {
            person.firstRun();
            seen.calls = calls.operations();
            seen.commands = machine->heardCommands();
            seen.isPulled = calls.end();
        }
        machine->plugPhone();
        person.goOn();
        seen.port = machine->facts().port;
        seen.misuses = machine->misuses();
        seen.isConnected = machine->isConnected();
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << seen;
        hand(bytes);
    });
    QDataStream stream(apart.report);
    stream >> *report;
    QString wrong;
    if (!apart.inTime)
        wrong += QString("  it did not end within %1 s\n").arg(Patience);
    else if (apart.exitCode != 0)
        wrong +=
            QString("  it ended with code %1, signal %2\n").arg(apart.exitCode).arg(apart.signal);
    for (const QByteArray &line : apart.errors.split('\n')) {
        // A machine says so when the phone is not there any more.
        if (!line.isEmpty() && line != "simulated PC: RasHangUpW: the phone did not answer")
            wrong += "  it wrote: " + QString::fromUtf8(line) + '\n';
    }
    if (report->misuses > 0)
        wrong += "  it used handles that were not open\n";
    const QStringList results =
        report->story.isEmpty() ? QStringList() : report->story.last().results;
    if (!report->isConnected || results.isEmpty() ||
        results.last() != QLatin1String(connectedResult)) {
        wrong += "  the person does not come to a connection:\n";
        for (const Phase &phase : std::as_const(report->story))
            wrong += "    " + phase.name + ": " + phase.results.join("; ") + '\n';
    }
    return wrong;
}

/// What is wrong with the settings that a finished set-up leaves.
QString wrongInSettings(const QString &folder, int port)
{
    useSettingsIn(folder);
    const QSettings settings;
    const bool isRight = settings.value(settingskeys::NoOfDialups).toInt() >= 1 &&
                         settings.value(settingskeys::isINFSetupDone).toBool() &&
                         settings.value(settingskeys::CurrentPort).toInt() == port;
    return isRight ? QString() : QString("  the settings are not those of a finished set-up\n");
}

/// Whether the person had to go through the wizard once more.
bool isSetUpAgain(const Report &report)
{
    return std::any_of(report.story.begin(), report.story.end(), [](const Phase &phase) {
        return phase.name == QLatin1String(goOnPhase) && phase.results.contains(wizardResult);
    });
}

/// What is wrong after it; *isReached says whether the walk had as many calls. Their
/// number differs: a machine reads an answer in one piece or in two.
QString pull(const MachineMaker &maker, const Moment &moment, bool *isReached)
{
    const QTemporaryDir folder(folderTemplate());
    Report report;
    QString wrong = walk(maker, folder.path(), moment, true, &report);
    *isReached = moment.command > 0 || report.isPulled;
    wrong += wrongInSettings(folder.path(), report.port);
    // A set-up without its phone may give the modem a port that is not there.
    if (isSetUpAgain(report) && !moment.isInSetUp)
        wrong += "  a set-up that was complete does not count any more\n";
    // The next start, too, in what that one left behind.
    wrong += walk(maker, folder.path(), {}, false, &report);
    return wrong.isEmpty() ? wrong : moment.name() + '\n' + wrong;
}

/// Every moment of a walk in which the phone stays plugged in.
QList<Moment> moments(const MachineMaker &maker, QString *complaint)
{
    const QTemporaryDir folder(folderTemplate());
    Report report;
    *complaint = walk(maker, folder.path(), {}, true, &report);
    QList<Moment> all;
    for (int call = 1; call <= report.calls.size(); ++call) {
        for (const bool isShort : {false, true})
            all.append({call, 0, call <= report.setUpCalls, isShort, report.calls.at(call - 1)});
    }
    for (int command = 1; command <= report.commands; ++command)
        all.append({0, command, false, false, {}});
    return all;
}

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    setApplicationIdentity();
    useFormFont();
    QStringList arguments = QApplication::arguments().mid(1);
    const int every = takeEvery(&arguments);
    const QString machine = arguments.value(0);
    const MachineMaker maker = machineNamed(machine);
    if (!maker) {
        std::fputs("Usage: phonepulled [--every N] scripted|simulated|linux [PART]\n", stderr);
        return 2;
    }
    adoptOrphans(); // a link lives on when its walk has ended
    QElapsedTimer time;
    time.start();
    QString complaint;
    const QList<Moment> all = moments(maker, &complaint);
    if (!complaint.isEmpty()) {
        std::printf("With the phone in its socket:\n%s", qPrintable(complaint));
        return EXIT_FAILURE;
    }
    int passed = 0;
    int failed = 0;
    int place = 0;
    int missed = 0;
    for (const Moment &moment : all) {
        if (!moment.name().contains(arguments.value(1)) || ++place % every != 0)
            continue;
        bool isReached = false;
        complaint = pull(maker, moment, &isReached);
        endOrphans();
        missed += isReached ? 0 : 1;
        complaint.isEmpty() ? ++passed : ++failed;
        std::printf("%s", qPrintable(complaint));
    }
    std::printf("Machine: %s. The phone was pulled at %d of %d moments; %d more did not come. "
                "%.1f s.\n",
                qPrintable(machine), passed + failed - missed, int(all.size()), missed,
                double(time.elapsed()) / 1000);
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 && passed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
