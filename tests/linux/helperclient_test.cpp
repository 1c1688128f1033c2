#include "platform/linux/helper/client.h"

#include "platform/configmanager.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/linuxplatform.h"
#include "platform/linux/pppddialler.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/linux/pppdfixture.h"

#include <QSignalSpy>
#include <QTest>

#include <poll.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace {

const char modemName[] = "Tolvane GPRS Modem";
const char ownLink[] = "tolvane-TolvaneModem_1@1000";
const char othersLink[] = "tolvane-TolvaneModem_1@1001";

/// A phone that is always there.
PppdDialler::Target phone()
{
    return {Success, ownLink, "/dev/ttyACM0"};
}

RasConnectionHandle handle(pid_t process)
{
    return reinterpret_cast<RasConnectionHandle>(static_cast<ULONG_PTR>(process));
}

} // namespace

/// A window without rights, with stand-ins for pkexec and pppd: who is asked for
/// what, and what a refusal looks like.
class HelperClientTest : public QObject, private PppdFixture
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { endLinks(); }

    void thePasswordIsAskedForOnce();
    void refusals_data();
    void refusals();
    void noPasswordForAHelperThatOthersCanChange();
    void aHelperThatEndedIsStartedAgain();
    void aHelperThatDiesIsAFailure();
    void whoHasTheRightsNeedsNoHelper();
    void theDriverIsInstalled();
    void otherProgramsRunAsTheUser();
    void linesAreLookedAtAgain();
    void anEntryIsTheUsersOwn();
    void theUsersOwnLinkIsHungUp();
    void anotherUsersLinkNeedsOtherRights();
    void ownLinksComeFirst();
    void aDialNeedsRights_data();
    void aDialNeedsRights();
    void aDialIsStoppedAtThePassword();

private:
    /// The commands that pkexec was given, with the helper's argument only.
    QStringList asked() const
    {
        QStringList words;
        for (const QByteArray &line : contentOf(m_folder->filePath("asked")).split('\n')) {
            if (!line.isEmpty())
                words += QString(line).section(' ', -1);
        }
        return words;
    }
    /// The running helper; -1 without one. The caller closes it.
    int helper() const
    {
        const int process = contentOf(m_folder->filePath("helper")).trimmed().toInt();
        return process > 0 ? int(::syscall(SYS_pidfd_open, process, 0)) : -1;
    }
    void addModem() const
    {
        StateStore(m_paths.state).change([](QJsonObject *state) {
            DeviceList list;
            RootDevice device;
            device.devInst = list.nextDevInst++;
            device.instanceId = "ROOT\\MODEM\\0000";
            device.friendlyName = modemName;
            device.hasDriverKey = true;
            device.driverKey = {{"AttachedTo", "COM5"}};
            list.devices = {device};
            writeDevices(state, list);
            return true;
        });
    }
    LinuxPlatform &system()
    {
        m_platform = std::make_unique<LinuxPlatform>(m_paths, programIdentity());
        setCurrent(m_platform.get());
        return *m_platform;
    }
    BOOL start(const QString &program, ProcessInformation *process)
    {
        StartupInfo startup = {};
        startup.cb = sizeof startup;
        WCHAR words[] = u"InstallDriver -a";
        return system().CreateProcessW(wide(program), words, nullptr, nullptr, 0, 0, nullptr,
                                       nullptr, &startup, process);
    }

    std::unique_ptr<LinuxPlatform> m_platform;
};

void HelperClientTest::init()
{
    m_platform.reset();
    prepare();
    m_paths.drivers = m_folder->filePath("drivers");
    useHelperStandIn(&m_paths, m_folder->path());
    usePkexecStandIn(&m_paths);
    qputenv("STANDIN_PKEXEC_LOG", m_folder->filePath("asked").toLocal8Bit());
    qputenv("STANDIN_HELPER_PID", m_folder->filePath("helper").toLocal8Bit());
    QVERIFY(QDir(m_folder->path()).mkpath("drivers"));
    QFile installer(m_folder->filePath("drivers/InstallDriver"));
    QVERIFY(installer.open(QIODevice::WriteOnly));
    installer.write("#!/bin/sh\necho \"$PKEXEC_UID $*\" >\"${0%/*}/installed\"\n");
    installer.close();
    setMode(installer.fileName(), 0755);
}

void HelperClientTest::thePasswordIsAskedForOnce()
{
    HelperClient client(m_paths);
    QVERIFY(client.isNeeded());
    QCOMPARE(client.openSetUp(), DWORD(Success));
    QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(Success));
    // Another step of the set-up runs in another thread.
    std::thread([&client] { client.ask(Role::SetUp, rescanRequest()); }).join();
    QCOMPARE(client.openSetUp(), DWORD(Success));
    QCOMPARE(asked(), QStringList("set-up"));
    // To connect is another right, and each time anew.
    QCOMPARE(client.ask(Role::Connect, hangUpRequest(1)), DWORD(ErrorInvalidHandle));
    QCOMPARE(client.ask(Role::Connect, hangUpRequest(1)), DWORD(ErrorInvalidHandle));
    QCOMPARE(asked(), QStringList({"set-up", "connect", "connect"}));
}

void HelperClientTest::refusals_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QString>("pkexec");
    QTest::addColumn<QString>("helper");
    QTest::addColumn<int>("code");
    QTest::newRow("refused") << QByteArray("refuse") << ""
                             << "" << 5;
    QTest::newRow("dismissed") << QByteArray("dismiss") << ""
                               << "" << 1223;
    QTest::newRow("no pkexec") << QByteArray() << "/none/pkexec"
                               << "" << 5;
    QTest::newRow("no helper") << QByteArray() << ""
                               << "/none/helper" << 5;
    QTest::newRow("another program") << QByteArray() << ""
                                     << "/usr/bin/echo" << 5;
}

void HelperClientTest::refusals()
{
    QFETCH(QByteArray, plan);
    QFETCH(QString, pkexec);
    QFETCH(QString, helper);
    QFETCH(int, code);
    qputenv("STANDIN_PKEXEC", plan);
    if (!pkexec.isEmpty())
        m_paths.pkexec = pkexec;
    if (!helper.isEmpty())
        m_paths.helper = helper;
    HelperClient client(m_paths);
    QCOMPARE(client.openSetUp(), DWORD(code));
    QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(code));
    QCOMPARE(client.ask(Role::Connect, hangUpRequest(1)), DWORD(code));
    // Whoever changes his mind is asked again.
    qputenv("STANDIN_PKEXEC", "");
    if (!plan.isEmpty())
        QCOMPARE(client.openSetUp(), DWORD(Success));
}

/// As in an archive that a user has unpacked: polkit would ask for a password, and
/// run as root whatever lies there then.
void HelperClientTest::noPasswordForAHelperThatOthersCanChange()
{
    const QString copy = m_folder->filePath("drivers/tolvane-dialler-helper");
    QVERIFY(QFile::copy(m_paths.helper, copy));
    setMode(copy, 0755);
    m_paths.helper = copy;
    for (const mode_t mode : {0777, 01777, 0775}) {
        setMode(m_paths.drivers, mode);
        HelperClient client(m_paths);
        QCOMPARE(client.openSetUp(), DWORD(ErrorAccessDenied));
        QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(ErrorAccessDenied));
        QCOMPARE(client.ask(Role::Connect, hangUpRequest(1)), DWORD(ErrorAccessDenied));
        QCOMPARE(helperCommand(m_paths, Role::Connect), QStringList());
    }
    PppdDialler dialler(helperCommand(m_paths, Role::Connect), "*99#", phone);
    DialFailure seen;
    connect(&dialler, &PppdDialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start();
    QCOMPARE(seen.code, DWORD(ErrorAccessDenied));
    QVERIFY2(seen.text.contains("Install the package"), qPrintable(seen.text));
    QVERIFY(!dialler.isRunning());
    QVERIFY(asked().isEmpty());
    // Root has the rights already, and is asked for nothing.
    m_paths.pkexec.clear();
    QCOMPARE(helperCommand(m_paths, Role::Connect), QStringList({copy, "connect"}));
    m_paths.pkexec = "/usr/bin/pkexec";
    setMode(m_paths.drivers, 0755);
    QCOMPARE(helperCommand(m_paths, Role::Connect).size(), 3);
}

void HelperClientTest::aHelperThatEndedIsStartedAgain()
{
    HelperClient client(m_paths);
    QCOMPARE(client.openSetUp(), DWORD(Success));
    const int process = helper();
    QVERIFY(process >= 0);
    ::syscall(SYS_pidfd_send_signal, process, SIGKILL, nullptr, 0);
    pollfd ended = {process, POLLIN, 0};
    QCOMPARE(::poll(&ended, 1, 10000), 1);
    ::close(process);
    QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(Success));
    QCOMPARE(asked(), QStringList({"set-up", "set-up"}));
}

void HelperClientTest::aHelperThatDiesIsAFailure()
{
    HelperClient client(m_paths);
    qputenv("STANDIN_PKEXEC", "vanish");
    QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(ErrorGenFailure));
    qputenv("STANDIN_PKEXEC", "");
    QCOMPARE(client.ask(Role::SetUp, installDriverRequest()), DWORD(Success));
    QCOMPARE(asked(), QStringList({"set-up", "set-up"}));
}

void HelperClientTest::whoHasTheRightsNeedsNoHelper()
{
    m_paths.pkexec.clear();
    QVERIFY(!HelperClient(m_paths).isNeeded());
    QCOMPARE(helperCommand(m_paths, Role::Connect), QStringList({m_paths.helper, "connect"}));
    addModem();
    ProcessInformation process = {};
    QVERIFY(start(m_paths.drivers + "/InstallDriver.exe", &process));
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 10000), WaitObject0);
    QVERIFY(asked().isEmpty());
}

void HelperClientTest::theDriverIsInstalled()
{
    ProcessInformation process = {};
    // As the program names it.
    const QString name = QString(m_paths.drivers + "/InstallDriver.exe").replace('/', '\\');
    QVERIFY(start(name, &process));
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 0), WaitObject0);
    QVERIFY(m_platform->CloseHandle(process.hProcess));
    QVERIFY(m_platform->CloseHandle(process.hThread));
    QTRY_COMPARE(contentOf(m_paths.drivers + "/installed"), QByteArray("1000 -a\n"));
    qputenv("STANDIN_PKEXEC", "dismiss");
    process = {};
    QVERIFY(!start(name, &process));
    QCOMPARE(lastError(), ErrorCancelled);
    QVERIFY(!process.hProcess);
}

void HelperClientTest::otherProgramsRunAsTheUser()
{
    ProcessInformation process = {};
    QVERIFY(start("/bin/true", &process));
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 10000), WaitObject0);
    QVERIFY(!start(m_folder->filePath("none"), &process));
    QCOMPARE(lastError(), ErrorFileNotFound);
    QVERIFY(asked().isEmpty());
}

void HelperClientTest::linesAreLookedAtAgain()
{
    const auto rescan = [this](const char *plan) {
        qputenv("STANDIN_PKEXEC", plan);
        system();
        return m_platform->CM_Reenumerate_DevNode_Ex(1, ReenumerateNormal, nullptr);
    };
    QCOMPARE(rescan("refuse"), ConfigAccessDenied);
    QCOMPARE(rescan("dismiss"), ConfigAccessDenied);
    if (!QFile::exists("/run/udev/control"))
        QCOMPARE(rescan(""), ConfigFailure);
    QCOMPARE(asked().last(), QString("set-up"));
}

void HelperClientTest::anEntryIsTheUsersOwn()
{
    addModem();
    RasEntry entry = {};
    entry.dwSize = RasEntrySize;
    entry.dwfOptions = 1;
    entry.dwFramingProtocol = 1;
    entry.dwType = 1;
    setField(entry.szDeviceType, "RASDT_Modem");
    setField(entry.szLocalPhoneNumber, "*99#");
    setField(entry.szDeviceName, modemName);
    const QString name = entryName;
    const auto write = [&](const char *plan) {
        qputenv("STANDIN_PKEXEC", plan);
        return system().RasSetEntryPropertiesW(nullptr, wide(name), &entry, RasEntrySize, nullptr,
                                               0);
    };
    QCOMPARE(write("refuse"), DWORD(ErrorAccessDenied));
    QCOMPARE(write("dismiss"), ErrorCancelled);
    QVERIFY(QDir(m_paths.peers).isEmpty());
    QCOMPARE(write(""), DWORD(Success));
    QCOMPARE(QDir(m_paths.peers).entryList(QDir::Files), QStringList(ownLink));
    RasEntry read = {};
    read.dwSize = RasEntrySize;
    DWORD size = RasEntrySize;
    QCOMPARE(system().RasGetEntryPropertiesW(nullptr, wide(name), &read, &size, nullptr, nullptr),
             DWORD(Success));
    QCOMPARE(fromField(read.szLocalPhoneNumber), QString("*99#"));
    // Another user of the machine has none.
    m_paths.user = 1001;
    QCOMPARE(system().RasGetEntryPropertiesW(nullptr, wide(name), &read, &size, nullptr, nullptr),
             RasErrorEntryNotFound);
}

void HelperClientTest::theUsersOwnLinkIsHungUp()
{
    const pid_t process = startLink("lo", ownLink);
    QVERIFY(process > 0);
    qputenv("STANDIN_PKEXEC", "refuse");
    QCOMPARE(system().RasHangUpW(handle(process)), DWORD(ErrorAccessDenied));
    QCOMPARE(links().size(), 1);
    qputenv("STANDIN_PKEXEC", "");
    QCOMPARE(system().RasHangUpW(handle(process)), DWORD(Success));
    QVERIFY(links().isEmpty());
    QCOMPARE(asked(), QStringList({"connect", "connect"}));
}

void HelperClientTest::anotherUsersLinkNeedsOtherRights()
{
    const pid_t process = startLink("lo", othersLink);
    QVERIFY(process > 0);
    QCOMPARE(HelperClient(m_paths).ask(Role::Connect, hangUpRequest(process)),
             DWORD(ErrorAccessDenied));
    QCOMPARE(links().size(), 1);
    QCOMPARE(system().RasHangUpW(handle(process)), DWORD(Success));
    QVERIFY(links().isEmpty());
    QCOMPARE(asked(), QStringList({"connect", "end-others"}));
}

void HelperClientTest::ownLinksComeFirst()
{
    const pid_t others = startLink("lo", othersLink);
    const pid_t roots = startLink("lo", linkName);
    const pid_t own = startLink("lo", ownLink);
    QVERIFY(others > 0 && roots > 0 && own > 0);
    std::vector<RasConnection> records(100);
    records[0].dwSize = RasConnectionSize;
    DWORD bytes = 136000;
    DWORD count = 0;
    QCOMPARE(system().RasEnumConnectionsW(records.data(), &bytes, &count), DWORD(Success));
    QCOMPARE(count, DWORD(3));
    QCOMPARE(records[0].hrasconn, handle(own));
}

void HelperClientTest::aDialNeedsRights_data()
{
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QString>("pkexec");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("words");
    QTest::newRow("given") << QByteArray() << "" << 0 << "";
    QTest::newRow("refused") << QByteArray("refuse") << "" << 5 << "may not";
    QTest::newRow("dismissed") << QByteArray("dismiss") << "" << 1223 << "password";
    QTest::newRow("no pkexec") << QByteArray() << "/none/pkexec" << 5 << "pkexec";
}

void HelperClientTest::aDialNeedsRights()
{
    QFETCH(QByteArray, plan);
    QFETCH(QString, pkexec);
    QFETCH(int, code);
    QFETCH(QString, words);
    qputenv("STANDIN_PKEXEC", plan);
    if (!pkexec.isEmpty())
        m_paths.pkexec = pkexec;
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    QSignalSpy connected(&dialler, &PppdDialler::connected);
    DialFailure seen;
    connect(&dialler, &PppdDialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start();
    QTRY_VERIFY(connected.size() == 1 || seen.code != 0);
    QCOMPARE(seen.code, DWORD(code));
    QVERIFY2(seen.text.contains(words), qPrintable(seen.text));
}

void HelperClientTest::aDialIsStoppedAtThePassword()
{
    qputenv("STANDIN_PKEXEC", "ask");
    PppdDialler dialler(uncheckedHelper(), "*99#", phone);
    DialFailure seen;
    connect(&dialler, &PppdDialler::failed, this,
            [&seen](const DialFailure &failure) { seen = failure; });
    dialler.start();
    QTRY_COMPARE(asked(), QStringList("connect"));
    dialler.stop();
    QTRY_COMPARE(seen.code, RasErrorUserDisconnected);
    QVERIFY(!dialler.isRunning());
}

QTEST_MAIN(HelperClientTest)
#include "helperclient_test.moc"
