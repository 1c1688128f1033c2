#include "tests/linux/servicefixture.h"

#include "app/identity.h"
#include "platform/linux/helper/checks.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/setupapi.h"
#include "platform/posix/filelock.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTest>

#include <chrono>
#include <functional>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

Q_DECLARE_METATYPE(DeviceList)
Q_DECLARE_METATYPE(Role)

/// What the helper does, and above all what it refuses; requestfields_test tries the
/// fields of its requests one by one. Run under umockdev-wrapper.
class ServiceTest : public QObject, private ServiceFixture
{
    Q_OBJECT

private slots:
    void init() { prepare(); }
    void cleanup() { endMachine(); }

    void eachRequestIsDone();
    void requestsAreRefused_data();
    void requestsAreRefused();
    void devicesAreRefused_data();
    void devicesAreRefused();
    void modemsOfOneNameFromEarlierStay();
    void aChangeOfSomethingElseIsRetried();
    void dialsAreChecked_data();
    void dialsAreChecked();
    void anEntryThatPppdDoesNotHaveIsForgotten();
    void anEntryThatRunsWhatOthersCanChangeIsNotDialled();
    void aDialWritesNothingAndWaitsForNobody();
    void nothingGetsThroughThatIsNoRequest_data();
    void nothingGetsThroughThatIsNoRequest();
    void aLineInUseIsNotDialled();
    void anInstallerThatOthersCanChangeIsNotRun();
    void rightsDoNotLastForEver();
    void rightsAreNotKeptByHalfARequest();

private:
    /// All that a helper in that role says to somebody who sends that.
    QByteArray repliesTo(Role role, const QByteArray &sent) const;
};

void ServiceTest::eachRequestIsDone()
{
    QCOMPARE(answer(Role::SetUp, installDriverRequest()), DWORD(Success));
    QTRY_VERIFY(QFileInfo(path("drivers/installed")).size() > 0);
    QFile said(path("drivers/installed"));
    QVERIFY(said.open(QIODevice::ReadOnly));
    QCOMPARE(said.readAll(), QByteArray("-a\n"));
    setMode(path("drivers/InstallDriver"), 0644);
    QCOMPARE(answer(Role::SetUp, installDriverRequest()), DWORD(ErrorAccessDenied));

    QCOMPARE(answer(Role::SetUp, storeInfRequest("oem0.inf", m_inf)), DWORD(Success));
    QVERIFY(QFile::exists(path("state/inf/oem0.inf")));
    // None takes the place of one that is there.
    QCOMPARE(answer(Role::SetUp, storeInfRequest("oem0.inf", m_inf)), DWORD(ErrorFileExists));

    DeviceList more = modems(2);
    more.devices.last().driverInf = "oem0.inf";
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(modems(1), more)), DWORD(Success));
    DeviceList kept;
    QCOMPARE(readDevices(StateStore(m_paths.state), &kept), DWORD(Success));
    QVERIFY(kept == more);

    QCOMPARE(QDir(m_paths.peers).entryList(QDir::Files), QStringList(ownEntry));
    Service service(m_paths, programIdentity(), Role::Connect);
    Service::Dial dial;
    QCOMPARE(service.checkDial(dialRequest(ownEntry, line, "*99#"), &dial), DWORD(Success));
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
          QString(QChar(0)), QString("\t"), QString(257, 'x'),
          // Seen as another name, or as two lines.
          "a" + QString(QChar(0x202E)) + "b", "a" + QString(QChar(0x2066)) + "b",
          "a" + QString(QChar(0x200B)), "a" + QString(QChar(0x2028)) + "b",
          "a" + QString(QChar(0x2029)) + "b", QString(QChar(0xFEFF)) + "a",
          "a" + QString(QChar(0xDB40)) + QString(QChar(0xDC01)), "a" + QString(QChar(0xD800))})
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
    row("name of the one that is there",
        [](RootDevice *device) { device->friendlyName = modemName; });
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
    // Entries of all users name the modem that is there.
    const auto installed = [](const char *name, const std::function<void(DeviceList *)> &change) {
        DeviceList list = modems(2);
        change(&list);
        QTest::newRow(name) << list;
    };
    installed("installed modem's port",
              [](DeviceList *list) { list->devices.first().driverKey["AttachedTo"] = "COM6"; });
    installed("installed modem's name",
              [](DeviceList *list) { list->devices.first().friendlyName = "x"; });
    installed("installed modem's names exchanged", [](DeviceList *list) {
        std::swap(list->devices[0].friendlyName, list->devices[1].friendlyName);
    });
    installed("installed modem gone", [](DeviceList *list) { list->devices.removeFirst(); });
    installed("installed modem replaced", [](DeviceList *list) {
        list->devices.removeFirst();
        list->devices.first().friendlyName = modemName;
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

// Earlier versions gave one name to two modems: that is no reason to refuse a third.
void ServiceTest::modemsOfOneNameFromEarlierStay()
{
    DeviceList twice = modems(2);
    twice.devices.last().friendlyName = modemName;
    StateStore(m_paths.state).change([&](QJsonObject *state) {
        writeDevices(state, twice);
        return true;
    });
    DeviceList more = modems(3);
    more.devices[1].friendlyName = modemName;
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(twice, more)), DWORD(Success));
    // A newer package's driver may take the place of the one that it has.
    QCOMPARE(answer(Role::SetUp, storeInfRequest("oem0.inf", m_inf)), DWORD(Success));
    DeviceList renewed = more;
    renewed.devices.first().driverInf = "oem0.inf";
    QCOMPARE(answer(Role::SetUp, changeDevicesRequest(more, renewed)), DWORD(Success));
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
    const QString own = ownEntry;
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
    QCOMPARE(service.checkDial(dialRequest(ownEntry, line, "*99#"), &dial), RasErrorEntryNotFound);
    QVERIFY(QDir(path("state/entries")).isEmpty());
}

/// As a copy of the program that root had unpacked in /tmp has made it.
void ServiceTest::anEntryThatRunsWhatOthersCanChangeIsNotDialled()
{
    const QJsonObject request = dialRequest(ownEntry, line, "*99#");
    QCOMPARE(answer(Role::Connect, request), DWORD(Success));
    put("shared/DialPhone", "#!/bin/true\n");
    setMode(path("shared/DialPhone"), 0755);
    QFile peer(path("peers/") + ownEntry);
    QVERIFY(peer.open(QIODevice::ReadOnly));
    const QByteArray options = peer.readAll();
    QVERIFY(options.contains("/drivers/DialPhone"));
    put(QString("peers/") + ownEntry, QByteArray(options).replace("/drivers/", "/shared/"));
    for (const mode_t mode : {0777, 01777, 0775}) {
        setMode(path("shared"), mode);
        QCOMPARE(answer(Role::Connect, request), RasErrorEntryNotFound);
    }
    setMode(path("shared"), 0755);
    QCOMPARE(answer(Role::Connect, request), DWORD(Success));
    setMode(path("shared/DialPhone"), 0757);
    QCOMPARE(answer(Role::Connect, request), RasErrorEntryNotFound);
    // The set-up mends it: its entry runs the program's own.
    QCOMPARE(answer(Role::SetUp, writeEntryRequest("TolvaneModem 1", entryRecord())),
             DWORD(Success));
    QCOMPARE(answer(Role::Connect, request), DWORD(Success));
}

/// Whoever may only connect has no way to hold up who sets up, or the other way round.
void ServiceTest::aDialWritesNothingAndWaitsForNobody()
{
    StateStore(m_paths.state).change([](QJsonObject *state) {
        state->remove("ports"); // the phone's number would be a new one
        return true;
    });
    const QMap<QString, QByteArray> before = files();
    const QJsonObject request = dialRequest(ownEntry, line, "*99#");
    QCOMPARE(answer(Role::Connect, request), DWORD(Success));
    QVERIFY(files() == before);
    const FileLock others(path("state/state.lock"), 0600);
    QCOMPARE(others.error(), 0);
    QCOMPARE(answer(Role::Connect, request), DWORD(Success));
    // The set-up waits, but not for ever.
    Service service(m_paths, programIdentity(), Role::SetUp, std::chrono::milliseconds(100));
    QCOMPARE(service.answer(changeDevicesRequest(modems(1), modems(2))), DWORD(ErrorGenFailure));
    QVERIFY(files() == before);
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
    QTest::newRow("a field twice")
        << QByteArray("{\"do\":\"reboot\",\"do\":\"install-driver\"}\n") << refused;
    QTest::newRow("with blanks") << QByteArray("{\"do\": \"install-driver\"}\n") << refused;
    QTest::newRow("two lines") << QByteArray("x\ny\n") << refused + refused;
    QTest::newRow("a line beyond all") << QByteArray(200000, 'x') + '\n' << QByteArray();
    QTest::newRow("deep") << QByteArray(100000, '[') + '\n' << refused;
    QTest::newRow("zeros") << QByteArray(10, '\0') + '\n' << refused;
    QTest::newRow("a dial, which is the last")
        << QByteArray("{\"do\":\"dial\"}\n{\"do\":\"install-driver\"}\n")
        << QByteArray("{\"code\":5}\n");
}

QByteArray ServiceTest::repliesTo(Role role, const QByteArray &sent) const
{
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return "no socket";
    std::thread helper([&] {
        serve(m_paths, programIdentity(), role, ends[1], ends[1]);
        ::close(ends[1]);
    });
    for (int from = 0; from < sent.size();) {
        const ssize_t count =
            ::send(ends[0], sent.constData() + from, std::size_t(sent.size() - from), MSG_NOSIGNAL);
        if (count <= 0)
            break; // the helper has had enough
        from += int(count);
    }
    // A dial would be stopped by the end of what is asked.
    if (role != Role::Connect)
        ::shutdown(ends[0], SHUT_WR);
    QByteArray read;
    char bytes[4096];
    ssize_t count = 0;
    while ((count = ::read(ends[0], bytes, sizeof bytes)) > 0)
        read.append(bytes, int(count));
    helper.join();
    ::close(ends[0]);
    return read;
}

void ServiceTest::nothingGetsThroughThatIsNoRequest()
{
    QFETCH(QByteArray, sent);
    QFETCH(QByteArray, replies);
    QCOMPARE(repliesTo(Role::SetUp, sent), "{\"ready\":true}\n" + replies);
    QVERIFY(!QFile::exists(path("drivers/installed")));
}

void ServiceTest::aLineInUseIsNotDialled()
{
    const QByteArray dial = toLine(dialRequest(ownEntry, line, "*99#"));
    const QByteArray start = "{\"ready\":true}\n";
    QVERIFY(QDir().mkpath(path("locks")));
    m_paths.locks = path("locks");
    QCOMPARE(repliesTo(Role::Connect, dial), start + "{\"code\":0,\"status\":1}\n"); // false's
    put("locks/LCK..rfcomm7", QByteArray::number(::getpid()).rightJustified(10) + '\n');
    QCOMPARE(repliesTo(Role::Connect, dial), start + "{\"code\":0,\"status\":7}\n");
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

/// Single bytes are no request.
void ServiceTest::rightsAreNotKeptByHalfARequest()
{
    int ends[2] = {-1, -1};
    QCOMPARE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    constexpr int patience = 200;
    constexpr int mostBytes = 1000; // twenty seconds of them
    int sent = 0;
    std::thread asking([&] {
        pollfd end = {ends[0], POLLRDHUP, 0};
        while (sent < mostBytes && ::poll(&end, 1, patience / 10) == 0) {
            if (::send(ends[0], "x", 1, MSG_NOSIGNAL) == 1)
                ++sent;
        }
        ::shutdown(ends[0], SHUT_WR);
    });
    QCOMPARE(serve(m_paths, programIdentity(), Role::SetUp, ends[1], ends[1], patience), 0);
    ::close(ends[1]);
    asking.join();
    ::close(ends[0]);
    QVERIFY2(sent > 0 && sent < mostBytes, qPrintable(QString::number(sent)));
}

QTEST_APPLESS_MAIN(ServiceTest)
#include "service_test.moc"
