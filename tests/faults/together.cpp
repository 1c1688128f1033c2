// Several copies of the program at once, in processes of their own: what one writes,
// the others neither lose nor find half.
//
//   together

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
#include "tests/linux/helperfixture.h"

#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QSet>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>

using namespace faults;
using namespace platform::linuxsystem;

namespace {

constexpr int Patience = 60; // seconds for what takes a few

void useSettingsIn(const QString &folder)
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder + "/user");
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, folder + "/system");
}

/// One of the copies: "" or what is wrong, as it saw it.
using Copy = std::function<QString(int number)>;

/// What is wrong with what the copies did at once.
QString runTogether(const QString &folder, const QList<Copy> &copies)
{
    QList<int> processes;
    QStringList own;
    for (int i = 0; i < copies.size(); ++i) {
        own += QString("%1/copy%2").arg(folder).arg(i);
        QDir().mkpath(own.last());
        processes += startApart(
            own.last(), [&](const auto &report) { report(copies.at(i)(i).toUtf8() + "; ended"); });
    }
    QString wrong;
    for (int i = 0; i < copies.size(); ++i) {
        const Apart apart = waitForApart(processes.at(i), own.at(i), Patience);
        if (!apart.inTime || apart.exitCode != 0 || apart.report != "; ended")
            wrong += QString("  copy %1: code %2, signal %3, %4 %5\n")
                         .arg(i)
                         .arg(apart.exitCode)
                         .arg(apart.signal)
                         .arg(QString::fromUtf8(apart.report), QString::fromUtf8(apart.errors));
    }
    return wrong;
}

/// Two people who set up and connect, in the same settings.
QString walks(const QString &folder)
{
    const Copy walk = [folder](int) -> QString {
        useSettingsIn(folder);
        const std::unique_ptr<WalkedMachine> machine = scriptedMachine(folder);
        platform::setCurrent(machine->platform());
        Story story;
        Walk person(machine.get(), [&](const Story &told) { story = told; });
        // To a connection, and a set-up before it where one is needed.
        person.laterRun();
        const QStringList seen = story.isEmpty() ? QStringList() : story.last().results;
        return seen.contains(connectedResult) ? QString() : "sees " + seen.join(", ");
    };
    QString wrong = runTogether(folder, {walk, walk});
    wrong += runTogether(folder, {walk, walk});
    useSettingsIn(folder);
    const QSettings all;
    if (all.value(settingskeys::NoOfDialups).toInt() < 1)
        wrong += "  the entry is lost\n";
    return wrong;
}

bool installModem(const QString &inf)
{
    platform::WCHAR hardwareId[32] = u"mtkgprsmodem";
    platform::BOOL restart = 0;
    return InstallRootEnumeratedDriver(hardwareId, platform::wide(inf), u"COM7", &restart);
}

/// Two users of one computer who set up again and again, each through the helper.
QString users(const QString &folder)
{
    constexpr int Times = 40;
    SystemPaths paths;
    paths.state = folder + "/state";
    paths.peers = folder + "/peers";
    paths.run = folder + "/run";
    paths.locks = folder + "/locks";
    paths.drivers = folder + "/drivers";
    for (const QString &path : {paths.peers, paths.run, paths.locks, paths.drivers})
        QDir().mkpath(path);
    const QString inf = paths.drivers + "/modem_inf_64.inf";
    QFile::copy(TMC_DRIVERS "/modem_inf_64.inf", inf);
    useHelperStandIn(&paths, folder);
    const auto pathsOf = [paths](int number) {
        SystemPaths own = paths;
        usePkexecStandIn(&own);
        own.user = uid_t(1000 + number);
        qputenv("STANDIN_UID", QByteArray::number(1000 + number));
        return own;
    };
    const Copy user = [&](int number) -> QString {
        useSettingsIn(QString("%1/user%2").arg(folder).arg(number));
        LinuxPlatform system(pathsOf(number), programIdentity());
        platform::setCurrent(&system);
        for (int i = 1; i <= Times; ++i) {
            // A driver goes to every modem that has none, so the other user may finish a
            // modem in the middle of this one's work. Then the wizard offers Retry.
            constexpr int MostTries = 5;
            int tries = 1;
            while (!installModem(inf) && tries <= MostTries)
                ++tries;
            if (tries > MostTries)
                return QString("modem %1 is not installed").arg(i);
            if (!createDialupConnection())
                return QString("entry %1 is not stored").arg(i);
        }
        return {};
    };
    QString wrong = runTogether(folder, {user, user});
    platform::DeviceList devices;
    if (readDevices(StateStore(paths.state), &devices) != platform::Success)
        wrong += "  the state store cannot be read\n";
    QSet<QString> ids;
    for (const auto &device : devices.devices)
        ids.insert(device.instanceId);
    // How many there are depends on who finished, or took back, whose modem.
    if (devices.devices.isEmpty() || ids.size() != devices.devices.size())
        wrong += QString("  there are %1 modems with %2 ids\n")
                     .arg(devices.devices.size())
                     .arg(ids.size());
    for (const int number : {0, 1}) {
        LinuxPlatform system(pathsOf(number), programIdentity());
        for (int i = 1; i <= Times; ++i) {
            platform::RasEntry entry = {};
            entry.dwSize = platform::RasEntrySize;
            platform::DWORD size = platform::RasEntrySize;
            const QString name = QString("TolvaneModem %1").arg(i);
            if (system.RasGetEntryPropertiesW(nullptr, platform::wide(name), &entry, &size, nullptr,
                                              nullptr) != platform::Success)
                wrong += QString("  user %1 has no \"%2\"\n").arg(number).arg(name);
        }
    }
    return wrong;
}

} // namespace

int main(int argc, char *argv[])
{
    const QApplication application(argc, argv);
    setApplicationIdentity();
    useFormFont();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const struct {
        const char *name;
        QString (*run)(const QString &folder);
        int rounds;
    } scenarios[] = {
        {"two people set up and connect with the same settings", walks, 20},
        {"two users set up through the helper", users, 1},
    };
    int passed = 0;
    int failed = 0;
    for (const auto &scenario : scenarios) {
        QElapsedTimer time;
        time.start();
        QString wrong;
        for (int round = 0; round < scenario.rounds; ++round) {
            const QTemporaryDir folder(folderTemplate());
            wrong += scenario.run(folder.path());
        }
        wrong.isEmpty() ? ++passed : ++failed;
        std::printf("%s (%d times, %.1f s)\n%s", scenario.name, scenario.rounds,
                    double(time.elapsed()) / 1000, qPrintable(wrong));
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
