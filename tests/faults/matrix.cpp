#include "tests/faults/matrix.h"

#include "app/settings.h"
#include "platform/faultinjection/faultinjectingplatform.h"
#include "tests/faults/apart.h"
#include "tests/faults/folders.h"
#include "tests/faults/hows.h"
#include "tests/faults/walk.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QMap>
#include <QSettings>

using namespace platform;

namespace faults {

namespace {

constexpr int Patience = 30; // seconds for a walk that takes a fraction of one

/// What a process reports of its walk.
struct WalkReport {
    Story story;
    QStringList calls; ///< operations, and phases as "#name", in order
    int faults = 0;    ///< how many calls failed as planned
    int misuses = 0;
    Facts facts;
};

QByteArray toBytes(const WalkReport &report)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    const Facts &f = report.facts;
    stream << report.story << report.calls << report.faults << report.misuses << f.installer
           << f.inf << f.fallbackInf << f.inf32 << f.devices << f.port << f.isReal;
    return bytes;
}

bool fromBytes(const QByteArray &bytes, WalkReport *report)
{
    QDataStream stream(bytes);
    Facts &f = report->facts;
    stream >> report->story >> report->calls >> report->faults >> report->misuses >> f.installer >>
        f.inf >> f.fallbackInf >> f.inf32 >> f.devices >> f.port >> f.isReal;
    return stream.status() == QDataStream::Ok;
}

/// The parts of the set-up begin with these calls.
const struct {
    const char *step;
    const char *operation;
} beginnings[] = {
    {driversStep, "CreateProcessW"},       {rescanStep, "LoadLibraryW"},
    {portStep, "SetupDiGetClassDevsW"},    {modemStep, "GetVersionExW"},
    {entryStep, "RasGetEntryPropertiesW"},
};

/// A call in its part of the run.
struct Call {
    QString operation;
    QString part;
};

QList<Call> inParts(const QStringList &recorded)
{
    QList<Call> calls;
    QString part;
    std::size_t next = 0; // step of the set-up
    for (const QString &item : recorded) {
        if (item.startsWith('#')) {
            part = item.mid(1);
            next = part == setUpPhase ? 0 : std::size(beginnings);
            continue;
        }
        if (next < std::size(beginnings) && item == QLatin1String(beginnings[next].operation))
            part = beginnings[next++].step;
        calls.append({item, part});
    }
    return calls;
}

QString text(const Story &story)
{
    QString all;
    for (const Phase &phase : story) {
        all += "  " + phase.name + ": " + phase.results.join("; ") + '\n';
        for (const QString &line : phase.lines)
            all += "    | " + QString(line).replace('\n', "\\n") + '\n';
        if (!phase.printed.isEmpty())
            all += "    printed: " + QString(phase.printed).replace('\n', "\\n") + '\n';
    }
    return all;
}

QString difference(const Story &seen, const Story &expected)
{
    for (int i = 0; i < std::max(seen.size(), expected.size()); ++i) {
        const Story is = seen.mid(i, 1);
        const Story ought = expected.mid(i, 1);
        if (is != ought)
            return "seen:\n" + text(is) + "expected:\n" + text(ought);
    }
    return {};
}

void useSettingsIn(const QString &folder)
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder + "/user");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder + "/system");
}

/// What is wrong with the settings of a machine that is set up.
QString wrongInSettings(int port)
{
    const QSettings settings;
    settings.allKeys();
    if (settings.status() != QSettings::NoError)
        return "the settings cannot be read\n";
    const bool isRight = settings.value(settingskeys::NoOfDialups).toInt() >= 1 &&
                         settings.value(settingskeys::isINFSetupDone).toBool() &&
                         settings.value(settingskeys::CurrentPort).toInt() == port &&
                         !settings.value(settingskeys::port(port)).toString().isEmpty();
    return isRight ? QString() : QString("the settings are not those of a finished set-up\n");
}

} // namespace

QString Cell::name() const
{
    const QString call =
        always ? QString("every call from #%1").arg(overall) : QString("call #%1").arg(fault.call);
    return QString("%1, %2, %3: %4").arg(fault.part, fault.operation, call, fault.how);
}

/// What went wrong with the process; the story is what it reported.
QString Matrix::walk(const QString &folder, const Cell &cell, bool isFirst, Story *story) const
{
    const Apart apart = runApart(folder, Patience, [&](const auto &report) {
        useSettingsIn(folder);
        const std::unique_ptr<WalkedMachine> machine = m_maker(folder);
        FaultInjectingPlatform injector(*machine->platform());
        setCurrent(&injector);
        QMap<int, QString> phases; // by the number of calls before
        Walk walk(machine.get(), [&](const Story &told) {
            WalkReport all;
            all.story = told;
            all.calls = injector.operations();
            for (auto it = phases.constEnd(); it != phases.constBegin();) {
                --it;
                all.calls.insert(it.key(), '#' + it.value());
            }
            all.faults = injector.firedFaults();
            all.misuses = machine->misuses();
            all.facts = machine->facts();
            report(toBytes(all));
        });
        walk.phaseBegins = [&](const QString &phase) {
            phases[static_cast<int>(injector.operations().size())] = phase;
        };
        bool isNumber = false;
        const DWORD code = cell.fault.how.toUInt(&isNumber);
        if (isNumber)
            injector.inject({cell.fault.operation, cell.overall, code, cell.always});
        else if (!cell.fault.how.isEmpty())
            plant(machine->platform(), cell.fault.operation, cell.fault.how, cell.overall);
        isFirst ? walk.firstRun() : walk.laterRun();
    });
    WalkReport report;
    QString wrong;
    if (!apart.inTime)
        wrong += QString("it did not end within %1 s\n").arg(Patience);
    else if (apart.signal != 0)
        wrong += QString("it was ended by signal %1\n").arg(apart.signal);
    else if (apart.exitCode != 0)
        wrong += QString("it ended with code %1\n").arg(apart.exitCode);
    if (!fromBytes(apart.report, &report))
        wrong += "it reported nothing\n";
    if (!apart.errors.isEmpty())
        wrong += "it wrote: " + QString::fromUtf8(apart.errors) + '\n';
    // A watcher that cannot be told of the end is left behind, and may still wait for
    // the event that is closed.
    const bool isLeftBehind =
        cell.fault.operation == "SetEvent" && cell.fault.part == QLatin1String(firstStartPhase);
    if (report.misuses > (isLeftBehind || cell.always ? 1 : 0))
        wrong += QString("it used %1 handles that were not open\n").arg(report.misuses);
    *story = report.story;
    m_calls = report.calls;
    m_facts = report.facts;
    m_fired = report.faults;
    return wrong;
}

QList<Cell> Matrix::record(QString *complaint)
{
    const QTemporaryDir folder(folderTemplate());
    Story story;
    *complaint = walk(folder.path(), {}, true, &story);
    if (complaint->isEmpty())
        *complaint = difference(story, expectedStory(m_facts, {}));
    if (!complaint->isEmpty())
        return {};
    QMap<QString, const AnyOperation *> operations;
    const Platform any;
    for (const AnyOperation *operation : any.allOperations())
        operations[operation->name()] = operation;
    QMap<QString, int> overall;
    QMap<QString, int> ofPart;
    QList<Cell> cells;
    for (const Call &call : inParts(m_calls)) {
        Cell cell;
        cell.fault = {call.part, call.operation, ++ofPart[call.part + call.operation], {}};
        cell.overall = ++overall[call.operation];
        for (const DWORD code : failureCodes(*operations.value(call.operation))) {
            cell.fault.how = QString::number(code);
            cells += cell;
        }
        if (cell.overall == 1) {
            for (const DWORD code : failureCodes(*operations.value(call.operation))) {
                Cell lasting = cell;
                lasting.always = true;
                lasting.fault.how = QString::number(code);
                cells += lasting;
            }
        }
        for (const QString &answer : unusualAnswers(call.operation)) {
            cell.fault.how = answer;
            cells += cell;
        }
    }
    m_healthyFacts = m_facts;
    return cells;
}

QString Matrix::run(const Cell &cell) const
{
    const QTemporaryDir folder(folderTemplate());
    Story story;
    QString wrong = walk(folder.path(), cell, true, &story);
    bool isCode = false;
    cell.fault.how.toUInt(&isCode);
    if (isCode && m_fired == 0)
        wrong += "the call was not made\n";
    if (!cell.always && !untold(m_healthyFacts, cell.fault))
        wrong += difference(story, expectedStory(m_healthyFacts, cell.fault));
    // Without the fault, the person comes to a connection whatever is left of it.
    wrong += walk(folder.path(), {}, false, &story);
    if (story.isEmpty() || story.last().name != QLatin1String(connectPhase) ||
        story.last().results.isEmpty() ||
        story.last().results.last() != QLatin1String(connectedResult))
        wrong += "the next start does not come to a connection:\n" + text(story);
    useSettingsIn(folder.path());
    wrong += wrongInSettings(m_healthyFacts.port);
    return wrong.isEmpty() ? wrong : cell.name() + '\n' + wrong;
}

} // namespace faults
