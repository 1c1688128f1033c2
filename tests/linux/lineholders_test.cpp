// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "app/identity.h"
#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/lineholders.h"
#include "platform/linux/statestore.h"
#include "platform/platform.h"
#include "platform/standin/lasterror.h"
#include "tests/linux/filemode.h"
#include "tests/linux/helperfixture.h"
#include "tests/linux/toldnotices.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

/// Lines that other programs hold: pseudo-terminals that processes of the test have
/// open and locked, under the names of such programs. Run under umockdev-wrapper.
class LineHoldersTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void holdersAreNamed();
    void aLockFileNamesItsOwner();
    void modemManagerLetsGo();
    void modemManagerThatStaysIsNamed();
    void otherProgramsStay();
    void aFreeLineIsNoReasonToDisturbAnybody();
    void aSystemctlThatOthersCanChangeIsNotRun();
    void onlyAPhonesLineIsFreed();
    void theHelperNamesWhoKeepsTheLine();
    void thePortIsOpenedOnceModemManagerHasLetGo_data();
    void thePortIsOpenedOnceModemManagerHasLetGo();
    void theUserIsToldWhoHasThePort_data();
    void theUserIsToldWhoHasThePort();
    void thePortThatThisProgramKeptIsTold();
    void aPortThatIsNoPhonesIsNobodysConcern();

private:
    /// Starts a process of that name, which has the line open and locked.
    void hold(const char *name);
    /// A systemctl that ends the process which holds the line, or does nothing.
    void makeSystemctl(bool works);
    QByteArray askedSystemctl() const
    {
        QFile file(m_folder->filePath("asked"));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    DWORD free(QString *holder, int patience = 10000) const
    {
        return freeLine(m_line, m_paths, holder, patience);
    }
    HANDLE open(Platform *platform) const;
    /// Makes the line a port of the machine, marked as a phone's or not.
    void addPort(bool isPhones);

    UMockdevTestbed *m_bed = nullptr;
    std::unique_ptr<QTemporaryDir> m_folder;
    SystemPaths m_paths;
    std::shared_ptr<ToldNotices> m_notices;
    int m_terminal = -1;
    QString m_line;
    pid_t m_holder = 0;
};

void LineHoldersTest::init()
{
    m_bed = umockdev_testbed_new();
    QVERIFY2(umockdev_in_mock_environment(), "start this test with umockdev-wrapper");
    m_folder = std::make_unique<QTemporaryDir>();
    m_paths = SystemPaths();
    m_paths.state = m_folder->filePath("state");
    m_paths.locks = m_folder->path();
    m_paths.systemctl = m_folder->filePath("systemctl");
    m_paths.trusted = testPlaces({m_folder->path()});
    m_notices = std::make_shared<ToldNotices>();
    m_terminal = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(m_terminal >= 0 && ::grantpt(m_terminal) == 0 && ::unlockpt(m_terminal) == 0);
    m_line = ::ptsname(m_terminal);
    m_holder = 0;
    makeSystemctl(true);
}

void LineHoldersTest::cleanup()
{
    if (m_holder > 0) {
        ::kill(m_holder, SIGKILL);
        ::waitpid(m_holder, nullptr, 0);
    }
    ::close(m_terminal);
    g_object_unref(m_bed);
}

void LineHoldersTest::hold(const char *name)
{
    int ready[2] = {-1, -1};
    QCOMPARE(::pipe(ready), 0);
    const QByteArray line = m_line.toLocal8Bit();
    m_holder = ::fork();
    if (m_holder == 0) {
        ::prctl(PR_SET_NAME, name);
        const int descriptor = ::open(line.constData(), O_RDWR | O_NOCTTY);
        const bool isHeld = descriptor >= 0 && ::flock(descriptor, LOCK_EX) == 0;
        if (::write(ready[1], isHeld ? "y" : "n", 1) != 1)
            ::_exit(1);
        for (;;)
            ::pause();
    }
    ::close(ready[1]);
    char held = 0;
    QCOMPARE(::read(ready[0], &held, 1), ssize_t(1));
    ::close(ready[0]);
    QCOMPARE(held, 'y');
    makeSystemctl(true);
}

void LineHoldersTest::makeSystemctl(bool works)
{
    QFile file(m_paths.systemctl);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\necho \"$*\" >>\"${0%/*}/asked\"\n");
    if (works && m_holder > 0)
        file.write("kill -9 " + QByteArray::number(m_holder) + '\n');
    file.close();
    setMode(m_paths.systemctl, 0755);
}

void LineHoldersTest::holdersAreNamed()
{
    QVERIFY(holdersOf(m_line, m_paths.locks).isEmpty());
    hold("minicom");
    const QList<LineHolder> holders = holdersOf(m_line, m_paths.locks);
    QCOMPARE(holders.size(), 1);
    QCOMPARE(holders.first().process, m_holder);
    QCOMPARE(holders.first().program, QString("minicom"));
    QCOMPARE(holders.first().user, ::geteuid());
    for (const char *other : {"/dev/none", "/etc/passwd", ""})
        QVERIFY2(holdersOf(other, m_paths.locks).isEmpty(), other);
}

void LineHoldersTest::aLockFileNamesItsOwner()
{
    QFile lock(m_folder->filePath("LCK.." + m_line.section('/', -1)));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.write(QByteArray::number(::getppid()) + '\n');
    lock.close();
    const QList<LineHolder> holders = holdersOf(m_line, m_paths.locks);
    QCOMPARE(holders.size(), 1);
    QCOMPARE(holders.first().process, ::getppid());
    QVERIFY(!holders.first().program.isEmpty());
}

void LineHoldersTest::modemManagerLetsGo()
{
    hold("ModemManager");
    QString holder;
    QCOMPARE(free(&holder), DWORD(Success));
    QCOMPARE(askedSystemctl(), QByteArray("try-restart ModemManager.service\n"));
}

void LineHoldersTest::modemManagerThatStaysIsNamed()
{
    hold("ModemManager");
    makeSystemctl(false);
    QString holder;
    QCOMPARE(free(&holder, 10), ErrorAccessDenied);
    QCOMPARE(holder, QString("ModemManager"));
    QCOMPARE(askedSystemctl(), QByteArray("try-restart ModemManager.service\n")); // only once
}

void LineHoldersTest::otherProgramsStay()
{
    hold("minicom");
    QString holder;
    QCOMPARE(free(&holder), ErrorAccessDenied);
    QCOMPARE(holder, QString("minicom"));
    QCOMPARE(askedSystemctl(), QByteArray());
}

void LineHoldersTest::aFreeLineIsNoReasonToDisturbAnybody()
{
    QString holder;
    QCOMPARE(free(&holder), DWORD(Success));
    QCOMPARE(askedSystemctl(), QByteArray());
}

void LineHoldersTest::aSystemctlThatOthersCanChangeIsNotRun()
{
    hold("ModemManager");
    setMode(m_paths.systemctl, 0777);
    QString holder;
    QCOMPARE(free(&holder, 10), ErrorAccessDenied);
    QCOMPARE(askedSystemctl(), QByteArray());
}

void LineHoldersTest::addPort(bool isPhones)
{
    char *const end = nullptr;
    g_free(umockdev_testbed_add_device(m_bed, "tty", "rfcomm7", nullptr, end, "DEVNAME",
                                       m_line.toLocal8Bit().constData(), "TOLVANE_MODEM_PORT",
                                       isPhones ? "1" : "0", end));
    char *const no = nullptr;
    // A line without a mark counts when hardware is behind it.
    if (!isPhones) {
        char *usb =
            umockdev_testbed_add_device(m_bed, "usb", "1-1", nullptr, "idVendor", "0403",
                                        "idProduct", "6001", no, "DEVTYPE", "usb_device", no);
        g_free(umockdev_testbed_add_device(m_bed, "tty", "ttyUSB0", usb, no, "DEVNAME",
                                           m_line.toLocal8Bit().constData(), no));
        g_free(usb);
    }
}

void LineHoldersTest::onlyAPhonesLineIsFreed()
{
    addPort(true);
    hold("ModemManager");
    Service service(m_paths, programIdentity(), Role::Connect);
    QJsonObject more;
    for (const char *other : {"", "/dev/ttyS0", "/dev/null", "../dev/pts/0"})
        QCOMPARE(service.answer(freeLineRequest(other), &more), ErrorInvalidParameter);
    for (const Role other : {Role::SetUp, Role::EndOthers})
        QCOMPARE(Service(m_paths, programIdentity(), other).answer(freeLineRequest(m_line)),
                 ErrorAccessDenied);
    QCOMPARE(askedSystemctl(), QByteArray());
    QCOMPARE(service.answer(freeLineRequest(m_line), &more), DWORD(Success));
    QCOMPARE(askedSystemctl(), QByteArray("try-restart ModemManager.service\n"));
    QCOMPARE(more, QJsonObject());
}

void LineHoldersTest::theHelperNamesWhoKeepsTheLine()
{
    addPort(true);
    hold("minicom");
    QJsonObject more;
    QCOMPARE(
        Service(m_paths, programIdentity(), Role::Connect).answer(freeLineRequest(m_line), &more),
        ErrorAccessDenied);
    QCOMPARE(more, (QJsonObject{{"holder", "minicom"}}));
    QCOMPARE(askedSystemctl(), QByteArray());
}

HANDLE LineHoldersTest::open(Platform *platform) const
{
    const auto handles = std::make_shared<Handles>();
    provideSerialComm(platform, handles, m_paths, programIdentity(),
                      std::make_shared<StateStore>(m_paths.state),
                      std::make_shared<HelperClient>(m_paths), m_notices);
    return platform->CreateFileW(u"\\\\.\\COM5", GenericRead | GenericWrite, 0, nullptr,
                                 OpenExisting, FileFlagOverlapped, nullptr);
}

void LineHoldersTest::thePortIsOpenedOnceModemManagerHasLetGo_data()
{
    QTest::addColumn<bool>("byHelper");
    QTest::newRow("with the rights") << false;
    QTest::newRow("through the helper") << true;
}

void LineHoldersTest::thePortIsOpenedOnceModemManagerHasLetGo()
{
    QFETCH(bool, byHelper);
    addPort(true);
    hold("ModemManager");
    if (byHelper) {
        useHelperStandIn(&m_paths, m_folder->path());
        usePkexecStandIn(&m_paths);
        qputenv("STANDIN_LOCKS", m_paths.locks.toLocal8Bit());
        qputenv("STANDIN_SYSTEMCTL", m_paths.systemctl.toLocal8Bit());
        // What the user sees of others' processes.
        m_paths.locks = m_folder->filePath("none");
    }
    Platform platform;
    QVERIFY(open(&platform) != invalidHandle());
    QCOMPARE(m_notices->told, QStringList());
    QCOMPARE(askedSystemctl(), QByteArray("try-restart ModemManager.service\n"));
}

void LineHoldersTest::theUserIsToldWhoHasThePort_data()
{
    QTest::addColumn<QByteArray>("holder");
    QTest::addColumn<QByteArray>("plan");
    QTest::addColumn<QString>("told");
    QTest::newRow("root") << QByteArray("minicom") << QByteArray() << "in use by minicom";
    QTest::newRow("user") << QByteArray("minicom") << QByteArray("give") << "in use by minicom";
    // Only root sees ModemManager's open files.
    QTest::newRow("no rights") << QByteArray("ModemManager") << QByteArray("refuse")
                               << "in use by ";
}

void LineHoldersTest::theUserIsToldWhoHasThePort()
{
    QFETCH(QByteArray, holder);
    QFETCH(QByteArray, plan);
    QFETCH(QString, told);
    addPort(true);
    hold(holder.constData());
    if (!plan.isEmpty()) {
        useHelperStandIn(&m_paths, m_folder->path());
        usePkexecStandIn(&m_paths, plan);
    }
    Platform platform;
    QCOMPARE(open(&platform), invalidHandle());
    QCOMPARE(lastError(), ErrorAccessDenied);
    QCOMPARE(m_notices->told, QStringList(told));
}

void LineHoldersTest::thePortThatThisProgramKeptIsTold()
{
    addPort(true);
    const int kept = ::open(m_line.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    QVERIFY(kept >= 0);
    QCOMPARE(::flock(kept, LOCK_EX), 0);
    Platform platform;
    QCOMPARE(open(&platform), invalidHandle());
    ::close(kept);
    QCOMPARE(m_notices->told, QStringList("kept"));
}

void LineHoldersTest::aPortThatIsNoPhonesIsNobodysConcern()
{
    addPort(false);
    hold("minicom");
    Platform platform;
    QCOMPARE(open(&platform), invalidHandle());
    QCOMPARE(lastError(), ErrorAccessDenied);
    QCOMPARE(m_notices->told, QStringList());
}

QTEST_GUILESS_MAIN(LineHoldersTest)
#include "lineholders_test.moc"
