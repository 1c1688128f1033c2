// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "app/identity.h"
#include "platform/linux/helper/checks.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/setupapi.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

Q_DECLARE_METATYPE(DeviceList)
Q_DECLARE_METATYPE(Role)

namespace {

constexpr uid_t asker = 1000;
const char modemName[] = "Tolvane GPRS Modem";
const char line[] = "/dev/rfcomm7"; // COM5: the first line that is plugged in

RasEntry entryRecord()
{
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    setField(entry.szLocalPhoneNumber, "*99#");
    setField(entry.szDeviceName, modemName);
    return entry;
}

RootDevice modem(int number)
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

DeviceList modems(int count)
{
    DeviceList list;
    for (int number = 0; number < count; ++number)
        list.devices += modem(number);
    list.nextDevInst = DEVINST(count + 2);
    return list;
}

QJsonObject with(QJsonObject request, const QString &field, const QJsonValue &value)
{
    request.insert(field, value);
    return request;
}

} // namespace

/// What the helper does, and above all what it refuses, on a machine with one
/// phone, one modem and an entry of the asker's. Run under umockdev-wrapper.
class ServiceTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void eachRequestIsDone();
    void requestsAreRefused_data();
    void requestsAreRefused();
    void devicesAreRefused_data();
    void devicesAreRefused();
    void aChangeOfSomethingElseIsRetried();
    void dialsAreChecked_data();
    void dialsAreChecked();
    void anEntryThatPppdDoesNotHaveIsForgotten();
    void nothingGetsThroughThatIsNoRequest_data();
    void nothingGetsThroughThatIsNoRequest();
    void hostileFieldsDoNoHarm();
    void anInstallerThatOthersCanChangeIsNotRun();
    void rightsDoNotLastForEver();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }
    void put(const QString &name, const QByteArray &content)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    DWORD answer(Role role, const QJsonObject &request) const
    {
        return Service(m_paths, programIdentity(), role).answer(request);
    }
    /// Whether everything on the machine is as this program would make it.
    QString harm() const;
    /// A request for each thing that a helper does.
    QList<QJsonObject> goodRequests() const;

    UMockdevTestbed *m_bed = nullptr;
    std::unique_ptr<QTemporaryDir> m_folder;
    SystemPaths m_paths;
    const QByteArray m_inf = "[Version]\nSignature=\"$CHICAGO$\"\n";
};

void ServiceTest::init()
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

void ServiceTest::cleanup()
{
    g_object_unref(m_bed);
}

QList<QJsonObject> ServiceTest::goodRequests() const
{
    return {installDriverRequest(),
            storeInfRequest("oem3.inf", m_inf),
            changeDevicesRequest(modems(1), modems(2)),
            writeEntryRequest("TolvaneModem 2", entryRecord()),
            hangUpRequest(1),
            dialRequest("tolvane-TolvaneModem_1@1000", line, "*99#")};
}

void ServiceTest::eachRequestIsDone()
{
    QCOMPARE(answer(Role::SetUp, installDriverRequest()), DWORD(Success));
    QTRY_VERIFY(QFileInfo(path("drivers/installed")).size() > 0);
    QFile said(path("drivers/installed"));
    QVERIFY(said.open(QIODevice::ReadOnly));
    QCOMPARE(said.readAll(), QByteArray("-a\n"));

    QCOMPARE(answer(Role::SetUp, storeInfRequest("oem0.inf", m_inf)), DWORD(Success));
    QVERIFY(QFile::exists(path("state/inf/oem0.inf")));

    DeviceList more = modems(2);
    more.devices.last().driverInf = "oem0.inf";
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(modems(1), more)), DWORD(Success));
    DeviceList kept;
    QCOMPARE(readDevices(StateStore(m_paths.state), &kept), DWORD(Success));
    QVERIFY(kept == more);

    QCOMPARE(QDir(m_paths.peers).entryList(QDir::Files),
             QStringList("tolvane-TolvaneModem_1@1000"));
    Service service(m_paths, programIdentity(), Role::Connect);
    Service::Dial dial;
    QCOMPARE(service.checkDial(dialRequest("tolvane-TolvaneModem_1@1000", line, "*99#"), &dial),
             DWORD(Success));
    QCOMPARE(dial.device, QString(line));
    QCOMPARE(harm(), QString());
}

void ServiceTest::requestsAreRefused_data()
{
    QTest::addColumn<Role>("role");
    QTest::addColumn<QJsonObject>("request");
    QTest::addColumn<int>("code");
    const auto setUp = [](const char *name, const QJsonObject &request, DWORD code) {
        QTest::newRow(name) << Role::SetUp << request << int(code);
    };
    setUp("nothing", {}, ErrorInvalidParameter);
    setUp("unknown", {{"do", "reboot"}}, ErrorInvalidParameter);
    setUp("a number", {{"do", 1}}, ErrorInvalidParameter);
    setUp("a field too many", {{"do", "install-driver"}, {"program", "/bin/sh"}},
          ErrorInvalidParameter);
    setUp("a field too few", {{"do", "store-inf"}, {"name", "oem0.inf"}}, ErrorInvalidParameter);

    QTest::newRow("set-up by who may connect") << Role::Connect << installDriverRequest() << 5;
    QTest::newRow("entry by who may connect")
        << Role::Connect << writeEntryRequest("a", entryRecord()) << 5;
    QTest::newRow("modem by who may connect")
        << Role::Connect << changeDevicesRequest(modems(1), modems(2)) << 5;
    QTest::newRow("INF by who may connect")
        << Role::Connect << storeInfRequest("oem0.inf", "[Version]\n") << 5;
    QTest::newRow("rescan by who may connect") << Role::Connect << rescanRequest() << 5;
    QTest::newRow("set-up by who may end") << Role::EndOthers << installDriverRequest() << 5;
    QTest::newRow("hang-up by who may set up") << Role::SetUp << hangUpRequest(1) << 5;

    const QByteArray inf = "[Version]\nSignature=\"$CHICAGO$\"\n";
    setUp("INF of another", storeInfRequest("oem0.inf", "[Version]\n"), ErrorAccessDenied);
    for (const char *name : {"", "oem0", "oem.inf", "oem12345.inf", "../oem0.inf", "oem0.inf\n",
                             "/etc/passwd", "oem0.inf/..", "OEM0.INF"})
        setUp(qPrintable(QString("INF named '%1'").arg(name).simplified()),
              storeInfRequest(name, inf), ErrorInvalidParameter);
    setUp("INF that is empty", storeInfRequest("oem0.inf", {}), ErrorInvalidParameter);
    setUp("INF that is too long", storeInfRequest("oem0.inf", QByteArray(70000, 'x')),
          ErrorInvalidParameter);
    setUp("INF that is no base64", with(storeInfRequest("oem0.inf", inf), "content", "&&&&"),
          ErrorInvalidParameter);

    for (const QString &name :
         {QString(), QString(" "), QString("."), QString("..passwd"), QString("a\nplugin evil.so"),
          QString(QChar(0)), QString("\t"), QString(257, 'x')})
        setUp(qPrintable("entry named " + QString::fromLatin1(name.left(9).toUtf8().toHex())),
              writeEntryRequest(name, entryRecord()), ErrorInvalidParameter);
    setUp("entry too long for a file", writeEntryRequest(QString(250, '%'), entryRecord()),
          ErrorInvalidParameter);
    const auto record = [](const QByteArray &bytes) {
        return with(writeEntryRequest("a", entryRecord()), "record",
                    QString::fromLatin1(bytes.toBase64()));
    };
    setUp("record missing", record({}), ErrorInvalidParameter);
    setUp("record too short", record(QByteArray(RasEntrySize - 1, 0)), ErrorInvalidParameter);
    setUp("record too long", record(QByteArray(RasEntrySize + 1, 0)), ErrorInvalidParameter);
    setUp("record of another version", record(QByteArray(RasEntrySize, 'x')),
          ErrorInvalidParameter);
    RasEntry entry = entryRecord();
    setField(entry.szLocalPhoneNumber, "*99#\rAT+CFUN=0");
    setUp("number with a command", writeEntryRequest("a", entry), ErrorInvalidParameter);
    entry = entryRecord();
    setField(entry.szDeviceName, "another modem");
    setUp("modem that is not there", writeEntryRequest("a", entry), ErrorInvalidParameter);
    std::fill(std::begin(entry.szDeviceName), std::end(entry.szDeviceName), WCHAR{'x'});
    setUp("modem's name without an end", writeEntryRequest("a", entry), ErrorInvalidParameter);

    const auto process = [](const QJsonValue &value) {
        return with(hangUpRequest(1), "process", value);
    };
    for (const QJsonValue &value : {QJsonValue(), QJsonValue(0), QJsonValue(-1), QJsonValue(1.5),
                                    QJsonValue("1"), QJsonValue(1e300)})
        QTest::newRow(
            QJsonDocument(QJsonArray{"process", value}).toJson(QJsonDocument::Compact).constData())
            << Role::Connect << process(value) << int(ErrorInvalidParameter);
    QTest::newRow("process that is no link") << Role::Connect << process(1) << 6;
    QTest::newRow("any process of another's") << Role::EndOthers << process(::getpid()) << 6;
}

void ServiceTest::requestsAreRefused()
{
    QFETCH(Role, role);
    QFETCH(QJsonObject, request);
    QFETCH(int, code);
    QCOMPARE(answer(role, request), DWORD(code));
    QCOMPARE(harm(), QString());
    QVERIFY(!QFile::exists(path("drivers/installed")));
    QVERIFY(!QFile::exists(path("state/inf")));
    QCOMPARE(QDir(m_paths.peers).entryList(QDir::Files).size(), 1);
}

void ServiceTest::devicesAreRefused_data()
{
    QTest::addColumn<DeviceList>("wanted");
    const auto row = [](const char *name, const std::function<void(RootDevice *)> &change) {
        DeviceList list = modems(2);
        change(&list.devices.last());
        QTest::newRow(name) << list;
    };
    row("no id", [](RootDevice *device) { device->instanceId.clear(); });
    row("id of another tree", [](RootDevice *device) { device->instanceId = "USB\\MODEM\\0001"; });
    row("id with a line", [](RootDevice *device) { device->instanceId = "ROOT\\MO\nDEM\\0001"; });
    row("id twice", [](RootDevice *device) { device->instanceId = "ROOT\\MODEM\\0000"; });
    row("node twice", [](RootDevice *device) { device->devInst = 2; });
    row("node of the root", [](RootDevice *device) { device->devInst = 1; });
    row("node of the future", [](RootDevice *device) { device->devInst = 4; });
    row("class too long", [](RootDevice *device) { device->className = QString(32, 'x'); });
    row("class with a line", [](RootDevice *device) { device->className = "Mo\ndem"; });
    row("class id", [](RootDevice *device) { device->classGuid = "{}"; });
    row("hardware id empty", [](RootDevice *device) { device->hardwareIds += QString(); });
    row("hardware id too long",
        [](RootDevice *device) { device->hardwareIds += QString(201, 'x'); });
    row("too many hardware ids", [](RootDevice *device) {
        for (int i = 0; i < 16; ++i)
            device->hardwareIds += QString::number(i);
    });
    row("name too long", [](RootDevice *device) { device->friendlyName = QString(129, 'x'); });
    row("name with a line", [](RootDevice *device) { device->friendlyName = "a\nb"; });
    row("name of no Latin", [](RootDevice *device) { device->friendlyName = QChar(0x202E); });
    row("INF that is not there", [](RootDevice *device) { device->driverInf = "oem7.inf"; });
    row("INF elsewhere", [](RootDevice *device) { device->driverInf = "../state.json"; });
    row("port", [](RootDevice *device) { device->driverKey["AttachedTo"] = "/dev/pts/1"; });
    row("port's number", [](RootDevice *device) { device->driverKey["AttachedTo"] = "COM123456"; });
    row("value too long", [](RootDevice *device) { device->driverKey["x"] = QString(261, 'x'); });
    row("value with a line", [](RootDevice *device) { device->driverKey["x"] = "\n"; });
    row("too many values", [](RootDevice *device) {
        for (int i = 0; i < 16; ++i)
            device->driverKey[QString::number(i)] = QString();
    });
    DeviceList list = modems(2);
    list.nextDevInst = 1;
    QTest::newRow("nodes that come again") << list;
    list.nextDevInst = 2000000;
    QTest::newRow("nodes used up") << list;
    QTest::newRow("more than a machine has") << modems(1001);
}

void ServiceTest::devicesAreRefused()
{
    QFETCH(DeviceList, wanted);
    QVERIFY(isPlausible(modems(2), modems(1), m_paths.state)); // without the row's change
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(modems(1), wanted)), ErrorInvalidParameter);
    DeviceList kept;
    QCOMPARE(readDevices(StateStore(m_paths.state), &kept), DWORD(Success));
    QVERIFY(kept == modems(1));
}

void ServiceTest::aChangeOfSomethingElseIsRetried()
{
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(modems(0), modems(2))), ErrorRetry);
    put("state/state.json", "{");
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(modems(1), modems(2))), ErrorInvalidData);
}

void ServiceTest::dialsAreChecked_data()
{
    QTest::addColumn<QJsonObject>("request");
    QTest::addColumn<int>("code");
    const QString own = "tolvane-TolvaneModem_1@1000";
    QTest::newRow("own") << dialRequest(own, line, "*99#") << 0;
    QTest::newRow("pseudo-terminal") << dialRequest(own, "/dev/pts/1", "*99#") << 692;
    QTest::newRow("another line") << dialRequest(own, "/dev/ttyS0", "*99#") << 692;
    QTest::newRow("no line") << dialRequest(own, "", "*99#") << 692;
    QTest::newRow("root's entry") << dialRequest("tolvane-TolvaneModem_1", line, "*99#") << 5;
    QTest::newRow("another user's")
        << dialRequest("tolvane-TolvaneModem_1@1001", line, "*99#") << 5;
    QTest::newRow("entry that is not there") << dialRequest("tolvane-x@1000", line, "*99#") << 623;
    for (const char *name : {"", "provider", "../tolvane-x@1000", "tolvane-../x@1000", "file",
                             "tolvane-x@1000 plugin", "tolvane-%2E@1000", "/etc/passwd"})
        QTest::newRow(qPrintable(QString("entry '%1'").arg(name)))
            << dialRequest(name, line, "*99#") << 87;
    for (const char *number : {"", "$(reboot)", "*99#\rAT", "1 2", "nodetach\n"})
        QTest::newRow(qPrintable(QString("number '%1'").arg(number).simplified()))
            << dialRequest(own, line, number) << 87;
    QTest::newRow("number too long") << dialRequest(own, line, QString(81, '1')) << 87;
    QTest::newRow("an option more") << with(dialRequest(own, line, "1"), "option", "plugin") << 87;
    QTest::newRow("entry no text") << with(dialRequest(own, line, "1"), "entry", 1) << 87;
    QTest::newRow("number no text") << with(dialRequest(own, line, "1"), "number", 1) << 87;
    QTest::newRow("line no text") << with(dialRequest(own, line, "1"), "device", 1) << 692;
}

void ServiceTest::dialsAreChecked()
{
    QFETCH(QJsonObject, request);
    QFETCH(int, code);
    Service::Dial dial;
    QCOMPARE(Service(m_paths, programIdentity(), Role::Connect).checkDial(request, &dial),
             DWORD(code));
    for (const Role role : {Role::SetUp, Role::EndOthers})
        QCOMPARE(Service(m_paths, programIdentity(), role).checkDial(request, &dial),
                 ErrorAccessDenied);
}

void ServiceTest::anEntryThatPppdDoesNotHaveIsForgotten()
{
    QVERIFY(QFile::remove(path("peers/tolvane-TolvaneModem_1@1000")));
    Service::Dial dial;
    const Service service(m_paths, programIdentity(), Role::Connect);
    QCOMPARE(service.checkDial(dialRequest("tolvane-TolvaneModem_1@1000", line, "*99#"), &dial),
             RasErrorEntryNotFound);
    QVERIFY(QDir(path("state/entries")).isEmpty());
}

void ServiceTest::nothingGetsThroughThatIsNoRequest_data()
{
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QByteArray>("replies");
    const QByteArray refused = "{\"code\":87}\n";
    QTest::newRow("nothing") << QByteArray() << QByteArray();
    QTest::newRow("empty line") << QByteArray("\n") << refused;
    QTest::newRow("words") << QByteArray("install-driver\n") << refused;
    QTest::newRow("list") << QByteArray("[{\"do\":\"install-driver\"}]\n") << refused;
    QTest::newRow("half a line") << QByteArray("{\"do\":\"install-driver\"}") << QByteArray();
    QTest::newRow("two lines") << QByteArray("x\ny\n") << refused + refused;
    QTest::newRow("a line beyond all") << QByteArray(200000, 'x') + '\n' << QByteArray();
    QTest::newRow("deep") << QByteArray(100000, '[') + '\n' << refused;
    QTest::newRow("zeros") << QByteArray(10, '\0') + '\n' << refused;
    QTest::newRow("a dial, which is the last")
        << QByteArray("{\"do\":\"dial\"}\n{\"do\":\"install-driver\"}\n")
        << QByteArray("{\"code\":5}\n");
}

void ServiceTest::nothingGetsThroughThatIsNoRequest()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, replies);
    int ends[2] = {-1, -1};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    std::thread helper([&] {
        serve(m_paths, programIdentity(), Role::SetUp, ends[1], ends[1]);
        ::close(ends[1]);
    });
    for (int from = 0; from < sent.size();) {
        const ssize_t count =
            ::send(ends[0], sent.constData() + from, std::size_t(sent.size() - from), MSG_NOSIGNAL);
        if (count <= 0)
            break; // the helper has had enough
        from += int(count);
    }
    ::shutdown(ends[0], SHUT_WR);
    QByteArray read;
    char bytes[4096];
    ssize_t count = 0;
    while ((count = ::read(ends[0], bytes, sizeof bytes)) > 0)
        read.append(bytes, int(count));
    helper.join();
    ::close(ends[0]);
    QCOMPARE(read, "{\"ready\":true}\n" + replies);
    QVERIFY(!QFile::exists(path("drivers/installed")));
}

QString ServiceTest::harm() const
{
    DeviceList list;
    if (readDevices(StateStore(m_paths.state), &list) != Success)
        return "the devices are damaged";
    if (!isPlausible(list, DeviceList(), path("state/inf")))
        return "there are devices that nobody makes";
    for (const QString &name : QDir(path("state/inf")).entryList(QDir::Files)) {
        QFile file(path("state/inf/" + name));
        if (!isInfName(name) || !file.open(QIODevice::ReadOnly) || file.readAll() != m_inf)
            return "there is an INF that is not the driver package's: " + name;
    }
    const PhoneBook book(programIdentity(), m_paths);
    QDirIterator all(m_folder->path(), QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    static const QStringList known = {
        "state", "state/inf",        "state/entries",         "state/state.json",
        "peers", "drivers",          "drivers/InstallDriver", "drivers/modem_inf_64.inf",
        "run",   "state/state.lock", "drivers/installed"};
    while (all.hasNext()) {
        const QString file = QDir(m_folder->path()).relativeFilePath(all.next());
        const auto entry = book.entryName(file.section('/', -1));
        const bool isEntry = (file.startsWith("peers/") || file.startsWith("state/entries/")) &&
                             entry && entry->owner == asker;
        if (!known.contains(file) && !file.startsWith("state/inf/") && !isEntry)
            return "there is a file that nobody makes: " + file;
        if (file.startsWith("peers/")) {
            QFile peer(path(file));
            if (!peer.open(QIODevice::ReadOnly))
                return "an entry cannot be read";
            for (const QByteArray &option : peer.readAll().split('\n')) {
                if (option.startsWith("plugin") || option.startsWith("file") ||
                    option.startsWith("call") || option.startsWith("pty"))
                    return "an entry has an option of the asker's: " + option;
            }
        }
    }
    return {};
}

/// Each field of each request gets each of these, and then each request is changed
/// at random places, the same ones every time.
void ServiceTest::hostileFieldsDoNoHarm()
{
    const QList<QJsonValue> hostile = {
        QJsonValue(),
        true,
        -1,
        0,
        1e308,
        "",
        ".",
        "..",
        "../../../../etc/passwd",
        "/etc/passwd",
        "/dev/pts/0",
        "a\nplugin /tmp/evil.so\n",
        "a\r\nconnect /bin/sh",
        "\"; rm -rf / #",
        "$(reboot)`reboot`",
        "%s%n%x",
        QString(QChar(0)) + "x",
        QString(5, QChar(0xD800)),
        QString(100000, 'A'),
        QJsonArray{"a", 1, QJsonArray()},
        QJsonObject{{"devices", QJsonArray{QJsonObject()}}, {"nextDevInst", 5}},
        QJsonObject{{"devices", QJsonArray{1, 2}}, {"nextDevInst", -5}},
    };
    int refused = 0;
    const auto tryIt = [&](const QJsonObject &request) {
        for (const Role role : {Role::SetUp, Role::Connect, Role::EndOthers}) {
            Service service(m_paths, programIdentity(), role);
            Service::Dial dial;
            const DWORD code = Service::isDial(request) ? service.checkDial(request, &dial)
                                                        : service.answer(request);
            refused += code == Success ? 0 : 1;
        }
    };
    int tried = 0;
    for (const QJsonObject &good : goodRequests()) {
        for (const QString &field : good.keys()) {
            for (const QJsonValue &value : hostile) {
                tryIt(with(good, field, value));
                ++tried;
            }
            QJsonObject less = good;
            less.remove(field);
            tryIt(less);
        }
        QCOMPARE(harm(), QString());
    }
    QVERIFY(tried > 200);

    std::mt19937 random(20261122);
    const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
    const QList<QJsonObject> good = goodRequests();
    for (int round = 0; round < 3000; ++round) {
        QByteArray text = toLine(good.at(below(int(good.size()))));
        for (int change = 0; change <= below(4); ++change) {
            const int place = below(int(text.size()));
            switch (below(4)) {
            case 0:
                text[place] = char(below(256));
                break;
            case 1:
                text.insert(place, char(below(256)));
                break;
            case 2:
                text.remove(place, 1 + below(20));
                break;
            default:
                text.insert(place, text.mid(below(int(text.size())), below(40)));
            }
            if (text.isEmpty())
                text = "{";
        }
        tryIt(fromLine(text).value_or(QJsonObject()));
    }
    QCOMPARE(harm(), QString());
    QVERIFY(refused > 8000);
}

void ServiceTest::anInstallerThatOthersCanChangeIsNotRun()
{
    setMode(path("drivers/InstallDriver"), 0775);
    QCOMPARE(answer(Role::SetUp, installDriverRequest()), ErrorAccessDenied);
    QVERIFY(!QFile::exists(path("drivers/installed")));
}

void ServiceTest::rightsDoNotLastForEver()
{
    int ends[2] = {-1, -1};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    // Returns although the other side is still there.
    QCOMPARE(serve(m_paths, programIdentity(), Role::SetUp, ends[1], ends[1], 1), 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

QTEST_APPLESS_MAIN(ServiceTest)
#include "service_test.moc"
