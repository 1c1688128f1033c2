#include "tests/linux/servicefixture.h"

#include "app/identity.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/setupapi.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/trustedplaces.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool matches(const QString &text, const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

} // namespace

RasEntry ServiceFixture::entryRecord()
{
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    setField(entry.szLocalPhoneNumber, "*99#");
    setField(entry.szDeviceName, modemName);
    return entry;
}

RootDevice ServiceFixture::modem(int number)
{
    RootDevice device;
    device.devInst = DEVINST(number + 2);
    device.instanceId = QString("ROOT\\MODEM\\%1").arg(number, 4, 10, QChar('0'));
    device.className = "Modem";
    device.classGuid = "{4D36E96D-E325-11CE-BFC1-08002BE10318}";
    device.hardwareIds = QStringList("mtkgprsmodem");
    device.friendlyName = number == 0 ? QString(modemName) : QString("Modem %1").arg(number);
    device.hasDriverKey = true;
    device.driverKey = {{"AttachedTo", "COM5"}};
    return device;
}

DeviceList ServiceFixture::modems(int count)
{
    DeviceList list;
    for (int number = 0; number < count; ++number)
        list.devices += modem(number);
    list.nextDevInst = DEVINST(count + 2);
    return list;
}

void ServiceFixture::prepare()
{
    m_bed = umockdev_testbed_new();
    QVERIFY2(umockdev_in_mock_environment(), "start this test with umockdev-wrapper");
    char *const end = nullptr;
    g_free(umockdev_testbed_add_device(m_bed, "tty", "rfcomm7", nullptr, end, "DEVNAME", line,
                                       "TOLVANE_MODEM_PORT", "1", end));
    m_folder = std::make_unique<QTemporaryDir>();
    m_paths = SystemPaths();
    m_paths.state = path("state");
    m_paths.peers = path("peers");
    m_paths.run = path("run");
    m_paths.drivers = path("drivers");
    m_paths.pppd = "/bin/false";
    m_paths.user = asker;
    m_paths.trusted = testPlaces({m_folder->path()});
    QVERIFY(QDir().mkpath(m_paths.peers));
    put("drivers/modem_inf_64.inf", m_inf);
    put("drivers/InstallDriver", "#!/bin/sh\necho \"$*\" >\"${0%/*}/installed\"\n");
    setMode(path("drivers/InstallDriver"), 0755);
    StateStore(m_paths.state).change([](QJsonObject *state) {
        writeDevices(state, modems(1));
        return true;
    });
    QCOMPARE(answer(Role::SetUp, writeEntryRequest("TolvaneModem 1", entryRecord())),
             DWORD(Success));
}

void ServiceFixture::endMachine()
{
    g_object_unref(m_bed);
}

void ServiceFixture::put(const QString &name, const QByteArray &content) const
{
    QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
}

DWORD ServiceFixture::answer(Role role, const QJsonObject &request) const
{
    Service service(m_paths, programIdentity(), role);
    Service::Dial dial;
    return Service::isDial(request) ? service.checkDial(request, &dial) : service.answer(request);
}

QList<ServiceFixture::Good> ServiceFixture::goodRequests() const
{
    return {{Role::SetUp, installDriverRequest()},
            {Role::SetUp, storeInfRequest("oem3.inf", m_inf)},
            {Role::SetUp, changeDevicesRequest(modems(1), modems(2))},
            {Role::SetUp, writeEntryRequest("TolvaneModem 2", entryRecord())},
            {Role::Connect, hangUpRequest(1)},
            {Role::EndOthers, hangUpRequest(1)},
            {Role::Connect, freeLineRequest(line)},
            {Role::Connect, signInRequest("anna", "secret")},
            {Role::SetUp, putStateAsideRequest()},
            {Role::Connect, dialRequest(ownEntry, line, "*99#")}};
}

QMap<QString, QByteArray> ServiceFixture::files() const
{
    QMap<QString, QByteArray> all;
    QDirIterator each(m_folder->path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (each.hasNext()) {
        const QString file = each.next();
        all.insert(QDir(m_folder->path()).relativeFilePath(file),
                   QByteArray::number(int(QFileInfo(file).permissions()), 16) + ' ' +
                       contentOf(file));
    }
    return all;
}

void ServiceFixture::restore(const QMap<QString, QByteArray> &before) const
{
    const QMap<QString, QByteArray> now = files();
    const QStringList names = now.keys();
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        if (before.contains(*name))
            continue;
        const bool isFolder = QFileInfo(path(*name)).isDir();
        QVERIFY(isFolder ? QDir().rmdir(path(*name)) : QFile::remove(path(*name)));
    }
    for (auto file = before.begin(); file != before.end(); ++file) {
        if (now.value(file.key()) == file.value())
            continue;
        const auto space = file.value().indexOf(' ');
        put(file.key(), file.value().mid(space + 1));
        const int permissions = file.value().left(space).toInt(nullptr, 16);
        QVERIFY(QFile::setPermissions(path(file.key()), QFile::Permissions(permissions)));
    }
}

QString ServiceFixture::entryHarm(const QString &file) const
{
    const auto entry = PhoneBook(programIdentity(), m_paths).entryName(file.section('/', -1));
    const auto characters = entry.value_or(EntryName()).name.toUcs4();
    const bool isHidden = std::any_of(characters.begin(), characters.end(), [](uint character) {
        const auto kind = QChar::category(character);
        return kind == QChar::Other_Control || kind == QChar::Other_Format ||
               kind == QChar::Separator_Line || kind == QChar::Separator_Paragraph;
    });
    if (!entry || entry->owner != asker || isHidden || entry->name.startsWith('.'))
        return "there is an entry of another, or of an impossible name: " + file;
    if (!file.startsWith("peers/"))
        return {};
    for (const QByteArray &option : contentOf(path(file)).split('\n')) {
        if (option == "file \"" + path("state/sign-in/1000").toLocal8Bit() + '"')
            continue;
        for (const char *forbidden : {"plugin", "file", "call", "pty", "init", "welcome"}) {
            if (option.startsWith(forbidden))
                return "an entry has an option of the asker's: " + option;
        }
        if (option.startsWith("set ") &&
            !matches(option, R"(set "DIAL_ENTRY_NUMBER=[0-9*#+,A-DPTWa-dptw]{1,80}")"))
            return "an entry has a number that no phone dials: " + option;
        const bool isConnect = option.startsWith("connect ");
        if (isConnect && option != "connect \"'" + m_paths.drivers.toLocal8Bit() + "/DialPhone'\"")
            return "an entry runs a program of the asker's: " + option;
        const bool isScript = option.startsWith("ip-up-script") || option.startsWith("ip-down-");
        if (isScript && !option.contains(" \"" + m_paths.drivers.toLocal8Bit() + "/Link"))
            return "an entry runs a script of the asker's: " + option;
    }
    return {};
}

QString ServiceFixture::deviceHarm(const DeviceList &list)
{
    const char *line = "[ -~]*";
    QStringList ids;
    QStringList names;
    for (const RootDevice &device : list.devices) {
        ids += device.instanceId;
        if (!device.friendlyName.isEmpty())
            names += device.friendlyName;
        const bool isGood = matches(device.instanceId, R"(ROOT\\[ -~]{1,190}\\[0-9]{4,5})") &&
                            matches(device.className, "[ -~]{0,31}") &&
                            matches(device.friendlyName, "[ -~]{0,128}") &&
                            matches(device.driverInf, "(oem[0-9]{1,4}[.]inf)?") &&
                            device.hardwareIds.size() <= 16 &&
                            matches(device.hardwareIds.join(' '), line) &&
                            device.driverKey.size() <= 16 &&
                            matches(QStringList(device.driverKey.keys()).join(' '), line) &&
                            matches(QStringList(device.driverKey.values()).join(' '), line) &&
                            matches(device.driverKey.value("AttachedTo", "COM1"), "COM[0-9]{1,5}");
        if (!isGood)
            return "there is a device that nobody makes: " + device.instanceId;
    }
    if (ids.removeDuplicates() > 0 || names.removeDuplicates() > 0 || ids.size() > 1000)
        return "there are devices twice, or too many";
    return {};
}

QString ServiceFixture::harm() const
{
    DeviceList list;
    if (readDevices(StateStore(m_paths.state), &list) != Success)
        return "the devices are damaged";
    const QString what = deviceHarm(list);
    if (!what.isEmpty())
        return what;
    RootDevice shared = modem(0);
    if (const RootDevice *kept = list.find(shared.instanceId))
        shared.driverInf = kept->driverInf;
    if (!list.devices.contains(shared))
        return "the modem of other users' entries is another";
    static const QStringList known = {
        "state", "state/inf",        "state/entries",         "state/state.json",
        "peers", "drivers",          "drivers/InstallDriver", "drivers/modem_inf_64.inf",
        "run",   "state/state.lock", "drivers/installed",     "state/sign-in"};
    for (const QString &file : files().keys()) {
        if (file.startsWith("peers/") || file.startsWith("state/entries/")) {
            const QString ofEntry = entryHarm(file);
            if (!ofEntry.isEmpty())
                return ofEntry;
        } else if (file.startsWith("state/inf/")) {
            if (!matches(file.section('/', 2), "oem[0-9]{1,4}[.]inf") ||
                contentOf(path(file)) != m_inf)
                return "there is an INF that is not the driver package's: " + file;
        } else if (file == "state/sign-in/1000") {
            if (!matches(contentOf(path(file)), R"(#[^\n]*\nuser "[^\n]+"\npassword "[^\n]*"\n)"))
                return "name and password have more than they should";
        } else if (!known.contains(file)) {
            return "there is a file that nobody makes: " + file;
        }
    }
    return {};
}

QJsonObject with(QJsonObject object, const QString &field, const QJsonValue &value)
{
    object.insert(field, value);
    return object;
}
