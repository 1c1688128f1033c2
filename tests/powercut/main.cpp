// The power goes while the program sets up: at every change of a file, and at random
// moments. Afterwards each file is as it was before or after a change, the next start
// works, and no step that was done is lost.
//
//   powercut [MOMENTS [PART]]   how many random moments (24); PART picks what is cut,
//                               "settings" or "store"

#include "app/formfont.h"
#include "app/identity.h"
#include "app/settings.h"
#include "dialup/phonebookentry.h"
#include "install/modeminstallation.h"
#include "platform/linux/linuxplatform.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/text.h"
#include "tests/faults/apart.h"
#include "tests/faults/folders.h"
#include "tests/faults/walk.h"
#include "tests/powercut/cut.h"

#include <QApplication>
#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QSettings>
#include <QTemporaryDir>

#include <csignal>
#include <cstdio>
#include <random>
#include <thread>

using namespace faults;

namespace {

constexpr int Patience = 30; // seconds for what takes a fraction of one
constexpr unsigned Seed = 1; // the random moments are the same in each run

QByteArray contentOf(const QString &name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Files that are kept, by their path below the folder. Hidden and temporary ones
/// and locks are no states.
QMap<QString, QByteArray> keptFiles(const QString &folder)
{
    QMap<QString, QByteArray> files;
    const std::function<void(const QString &)> look = [&](const QString &below) {
        const QDir dir(folder + '/' + below);
        for (const QString &name : dir.entryList(QDir::Files)) {
            const bool isKept = name.endsWith(".ini") || name.endsWith(".json") ||
                                name.startsWith("tolvane-") || name.endsWith(".inf") ||
                                below.endsWith("sign-in/");
            // A file may name another one, which lies elsewhere at each run.
            if (isKept)
                files[below + name] = contentOf(dir.filePath(name)).replace(folder.toUtf8(), "");
        }
        for (const QString &name : dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            look(below + name + '/');
    };
    look({});
    return files;
}

void useSettingsIn(const QString &folder)
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder + "/kept/user");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder + "/system");
}

/// Something that changes files, and whether it has come to its end.
struct Scenario {
    const char *name;
    /// In a process of its own; `isFirst` on a machine on which the program never ran.
    std::function<bool(const QString &folder, bool isFirst)> run;
    /// What is wrong with what the cut left behind; in a process of its own.
    std::function<bool(const QString &folder)> isWhole;
};

/// A person's walk through the program on the scripted machine: its settings.
bool walk(const QString &folder, bool isFirst)
{
    useSettingsIn(folder);
    const std::unique_ptr<WalkedMachine> machine = scriptedMachine(folder);
    platform::setCurrent(machine->platform());
    Story story;
    {
        Walk person(machine.get(), [&](const Story &told) { story = told; });
        isFirst ? person.firstRun() : person.laterRun();
    }
    const char *goal = isFirst ? countingDownResult : connectedResult;
    return !story.isEmpty() && story.last().results.value(0) == QLatin1String(goal);
}

/// "Done" counts only when what was done is there.
bool isSettingsWhole(const QString &folder)
{
    useSettingsIn(folder);
    const QSettings settings;
    settings.allKeys();
    if (settings.status() != QSettings::NoError)
        return false;
    const bool hasEntry = settings.value(settingskeys::NoOfDialups, 0).toInt() > 0;
    return !hasEntry || settings.value(settingskeys::isINFSetupDone).toBool();
}

platform::linuxsystem::SystemPaths pathsIn(const QString &folder)
{
    platform::linuxsystem::SystemPaths paths;
    paths.state = folder + "/kept/state";
    paths.peers = folder + "/kept/peers";
    paths.run = folder + "/run";
    paths.locks = folder + "/locks";
    paths.drivers = "/drivers";
    QDir().mkpath(paths.peers);
    return paths;
}

bool hasEntry(platform::Platform *system, int number)
{
    const QString name = QString("TolvaneModem %1").arg(number);
    platform::RasEntry entry = {};
    entry.dwSize = platform::RasEntrySize;
    platform::DWORD size = platform::RasEntrySize;
    return system->RasGetEntryPropertiesW(nullptr, platform::wide(name), &entry, &size, nullptr,
                                          nullptr) == platform::Success;
}

/// The modem and the entry on the Linux backend: its state store and phone book.
bool installOnLinux(const QString &folder, bool)
{
    useSettingsIn(folder);
    platform::linuxsystem::LinuxPlatform system(pathsIn(folder), programIdentity());
    platform::setCurrent(&system);
    platform::WCHAR hardwareId[32] = u"mtkgprsmodem";
    const QString inf = TMC_DRIVERS "/modem_inf_64.inf";
    platform::BOOL restart = 0;
    return InstallRootEnumeratedDriver(hardwareId, platform::wide(inf), u"COM7", &restart) &&
           createDialupConnection() &&
           hasEntry(&system, QSettings().value(settingskeys::NoOfDialups).toInt());
}

bool isStoreWhole(const QString &folder)
{
    useSettingsIn(folder);
    const auto paths = pathsIn(folder);
    platform::linuxsystem::LinuxPlatform system(paths, programIdentity());
    platform::DeviceList devices;
    if (platform::linuxsystem::readDevices(platform::linuxsystem::StateStore(paths.state),
                                           &devices) != platform::Success)
        return false;
    const int entries = QSettings().value(settingskeys::NoOfDialups).toInt();
    return entries == 0 || (hasEntry(&system, entries) && !devices.devices.isEmpty());
}

const Scenario scenarios[] = {
    {"settings", walk, isSettingsWhole},
    {"Linux state store", installOnLinux, isStoreWhole},
};

class Outage
{
public:
    explicit Outage(const Scenario &scenario) : m_scenario(scenario) {}

    /// Runs to the end once, and notes every state that the files have on the way.
    bool record()
    {
        const QTemporaryDir folder(folderTemplate());
        QElapsedTimer time;
        time.start();
        const Apart apart = runApart(folder.path(), Patience, [&](const auto &report) {
            QMap<QString, QSet<QByteArray>> states;
            watchChanges([&] {
                const auto files = keptFiles(folder.path());
                for (auto it = files.cbegin(); it != files.cend(); ++it)
                    states[it.key()].insert(it.value());
            });
            cutPowerAt(0, Cut::Before, {folder.path() + "/kept"});
            const bool isDone = m_scenario.run(folder.path(), true);
            QByteArray bytes;
            QDataStream stream(&bytes, QIODevice::WriteOnly);
            stream << isDone << countedChanges() << states;
            report(bytes);
        });
        m_milliseconds = time.elapsed();
        QDataStream stream(apart.report);
        bool isDone = false;
        stream >> isDone >> m_changes >> m_states;
        return isDone && m_changes > 0;
    }

    int changes() const { return m_changes; }
    int states() const
    {
        int count = 0;
        for (const auto &ofFile : m_states)
            count += int(ofFile.size());
        return count;
    }

    /// What is wrong after a cut at this change; "" when nothing is.
    QString cutAt(int change, Cut how) const
    {
        const QTemporaryDir folder(folderTemplate());
        const Apart apart = runApart(folder.path(), Patience, [&](const auto &) {
            cutPowerAt(change, how, {folder.path() + "/kept"});
            m_scenario.run(folder.path(), true);
        });
        QString wrong = apart.signal == SIGKILL ? QString() : "  the power was not cut\n";
        wrong += afterwards(folder.path());
        return wrong;
    }

    /// The same at a moment of the run, in parts of its whole time.
    QString cutAfter(double part) const
    {
        const QTemporaryDir folder(folderTemplate());
        runApart(folder.path(), Patience, [&](const auto &) {
            // From a thread, so the moment is any.
            std::thread([wait = std::chrono::microseconds(int(part * m_milliseconds * 1000))] {
                std::this_thread::sleep_for(wait);
                ::kill(::getpid(), SIGKILL);
            }).detach();
            m_scenario.run(folder.path(), true);
        });
        return afterwards(folder.path());
    }

private:
    QString afterwards(const QString &folder) const
    {
        comeBack(folder + "/kept");
        QString wrong;
        const auto files = keptFiles(folder);
        for (auto it = files.cbegin(); it != files.cend(); ++it) {
            if (!m_states.value(it.key()).contains(it.value()))
                wrong += "  " + it.key() + " is neither old nor new: \"" +
                         QString::fromUtf8(it.value().left(200)) + "\"\n";
        }
        if (!succeeds(folder, [&] { return m_scenario.isWhole(folder); }))
            wrong += "  what is marked as done is not there\n";
        if (!succeeds(folder, [&] { return m_scenario.run(folder, false); }))
            wrong += "  the next start does not work\n";
        return wrong;
    }

    /// A machine is not back at once. The toolkit waits half a minute before it
    /// takes a lock away that says of nobody that he holds it.
    static void comeBack(const QString &kept)
    {
        const QDateTime before = QDateTime::currentDateTime().addSecs(-60);
        QDirIterator files(kept, QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (!file.open(QIODevice::ReadWrite) ||
                !file.setFileTime(before, QFileDevice::FileModificationTime))
                qFatal("the time of %s cannot be set", qPrintable(file.fileName()));
        }
    }

    static bool succeeds(const QString &folder, const std::function<bool()> &function)
    {
        const Apart apart = runApart(
            folder, Patience, [&](const auto &report) { report(function() ? "yes" : "no"); });
        return apart.inTime && apart.exitCode == 0 && apart.report == "yes";
    }

    const Scenario &m_scenario;
    int m_changes = 0;
    qint64 m_milliseconds = 0;
    QMap<QString, QSet<QByteArray>> m_states;
};

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    setApplicationIdentity();
    useFormFont();
    const QStringList arguments = QApplication::arguments().mid(1);
    const int moments = arguments.value(0, "24").toInt();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    std::mt19937 random(Seed);
    int passed = 0;
    int failed = 0;
    for (const Scenario &scenario : scenarios) {
        if (!QString(scenario.name).contains(arguments.value(1)))
            continue;
        Outage outage(scenario);
        if (!outage.record()) {
            std::printf("%s: it does not work with the power on\n", scenario.name);
            ++failed;
            continue;
        }
        const auto judge = [&](const QString &wrong, const QString &when) {
            wrong.isEmpty() ? ++passed : ++failed;
            if (!wrong.isEmpty())
                std::printf("%s, %s:\n%s", scenario.name, qPrintable(when), qPrintable(wrong));
        };
        for (int change = 1; change <= outage.changes(); ++change) {
            judge(outage.cutAt(change, Cut::Before), QString("before change %1").arg(change));
            judge(outage.cutAt(change, Cut::Within), QString("within change %1").arg(change));
        }
        for (int i = 0; i < moments; ++i) {
            const double part = random() / double(std::mt19937::max());
            judge(outage.cutAfter(part), QString("after %1 of the run").arg(part, 0, 'f', 3));
        }
        std::printf("%s: cut before and within each of %d changes and at %d random moments; the "
                    "files have %d states\n",
                    scenario.name, outage.changes(), moments, outage.states());
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 && passed > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
