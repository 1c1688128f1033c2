#include "app/identity.h"
#include "platform/configmanager.h"
#include "platform/linux/configmanager.h"
#include "platform/linux/linuxplatform.h"
#include "platform/linux/seriallock.h"
#include "platform/linux/statestore.h"
#include "platform/newdev.h"
#include "platform/posix/filelock.h"
#include "platform/standin/devices.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/linux/filemode.h"
#include "tests/support/ordinaryuser.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <memory>
#include <thread>

#include <sys/stat.h>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

/// The Linux backend as a whole: libraries, processes, facts, ports in use.
class SystemTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void everyOperationIsProvided();
    void librariesAreBoundAtRunTime();
    void bindingIsRefused();
    void theRootIsLocated();
    void reenumerationIsRefused();
    void aDriverIsUpdatedThroughItsLibrary();
    void aProgramIsStartedAndNotWaitedFor();
    void startingAProgramIsRefused();
    void theSystemIsA64BitWorkstation();
    void factsAreRefused();
    void onlyRootIsAnAdministrator();
    void portsThatAreNotThere();
    void announcedLinesAreInUse_data();
    void announcedLinesAreInUse();
    void whatIsNoLockFileIsNoLock_data();
    void whatIsNoLockFileIsNoLock();
    void aLockThatMayNotBeReadIsPppds();
    void twoChangesAtOnceBothLast();
    void aChangeDoesNotWaitForEver();
    void theStoreIsEveryonesToRead();
    void aStoreThatMayNotBeReadIsNotEmpty();
    void aStoreWithoutAPlaceIsRefused();
    void whatIsPutAsideTakesNothingsPlace();

private:
    void write(const QString &name, const QByteArray &content, bool executable = false)
    {
        QFile file(m_folder->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();
        if (executable)
            setMode(file.fileName(), 0755);
    }
    QByteArray contentOf(const QString &name) const
    {
        QFile file(m_folder->filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    BOOL start(const QString &program, const QString &commandLine, ProcessInformation *process)
    {
        StartupInfo startup = {};
        startup.cb = sizeof startup;
        std::vector<WCHAR> line(size_t(commandLine.size()) + 1);
        copyToBuffer(commandLine, line.data(), int(line.size()));
        return m_platform->CreateProcessW(wide(program), line.data(), nullptr, nullptr, 0, 0,
                                          nullptr, nullptr, &startup, process);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LinuxPlatform> m_platform;
};

void SystemTest::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    SystemPaths paths;
    paths.state = m_folder->filePath("state");
    paths.peers = m_folder->filePath("peers");
    paths.run = m_folder->filePath("run");
    m_platform = std::make_unique<LinuxPlatform>(paths, programIdentity());
    setCurrent(m_platform.get()); // whose slots functions bound at run time call
    setLastError(Success);
}

void SystemTest::everyOperationIsProvided()
{
    for (const AnyOperation *operation : m_platform->allOperations())
        QVERIFY2(operation->isProvided(), operation->name());
}

void SystemTest::librariesAreBoundAtRunTime()
{
    QVERIFY(m_platform->GetModuleHandleW(u"kernel32.dll"));
    QVERIFY(!m_platform->GetModuleHandleW(u"cfgmgr32.dll"));
    const HMODULE library = m_platform->LoadLibraryW(u"CfgMgr32.DLL");
    QVERIFY(library);
    QCOMPARE(m_platform->LoadLibraryW(u"cfgmgr32.dll"), library);
    QVERIFY(m_platform->GetProcAddress(library, "CM_Locate_DevNode_ExA"));
    QVERIFY(m_platform->FreeLibrary(library));
    QVERIFY(m_platform->GetModuleHandleW(u"cfgmgr32.dll"));
    QVERIFY(m_platform->FreeLibrary(library));
    QVERIFY(!m_platform->GetModuleHandleW(u"cfgmgr32.dll"));
}

void SystemTest::bindingIsRefused()
{
    QVERIFY(!m_platform->LoadLibraryW(u"other.dll"));
    QCOMPARE(m_platform->GetLastError(), ErrorModuleNotFound);
    QVERIFY(!m_platform->LoadLibraryW(nullptr));
    QVERIFY(!m_platform->GetModuleHandleW(u"newdev.dll"));
    QCOMPARE(m_platform->GetLastError(), ErrorModuleNotFound);
    QVERIFY(!m_platform->GetModuleHandleW(nullptr));
    QCOMPARE(m_platform->GetLastError(), ErrorNotSupported);
    const HMODULE kernel = m_platform->GetModuleHandleW(u"kernel32.dll");
    QVERIFY(!m_platform->GetProcAddress(kernel, "CM_Locate_DevNode_ExA"));
    QCOMPARE(m_platform->GetLastError(), ErrorProcedureNotFound);
    QVERIFY(!m_platform->GetProcAddress(kernel, nullptr));
    QVERIFY(!m_platform->GetProcAddress(this, "GetNativeSystemInfo"));
    QCOMPARE(m_platform->GetLastError(), ErrorInvalidHandle);
    QVERIFY(!m_platform->FreeLibrary(this));
    QCOMPARE(m_platform->GetLastError(), ErrorInvalidHandle);
}

void SystemTest::theRootIsLocated()
{
    const HMODULE library = m_platform->LoadLibraryW(u"cfgmgr32.dll");
    const auto locate = reinterpret_cast<CmLocateDevNodeFunction>(
        m_platform->GetProcAddress(library, "CM_Locate_DevNode_ExA"));
    DEVINST root = 0;
    char device[] = "ROOT\\MODEM\\0000";
    QCOMPARE(locate(&root, nullptr, LocateNormal, nullptr), ConfigSuccess);
    QCOMPARE(root, RootDevNode);
    QCOMPARE(locate(nullptr, nullptr, LocateNormal, nullptr), ConfigFailure);
    QCOMPARE(locate(&root, device, LocateNormal, nullptr), ConfigFailure);
    QCOMPARE(locate(&root, nullptr, 1, nullptr), ConfigFailure);
    QCOMPARE(locate(&root, nullptr, LocateNormal, &root), ConfigFailure);
    m_platform->FreeLibrary(library);
}

void SystemTest::reenumerationIsRefused()
{
    const HMODULE library = m_platform->LoadLibraryW(u"cfgmgr32.dll");
    const auto reenumerate = reinterpret_cast<CmReenumerateDevNodeFunction>(
        m_platform->GetProcAddress(library, "CM_Reenumerate_DevNode_Ex"));
    QCOMPARE(reenumerate(4711, ReenumerateNormal, nullptr), ConfigInvalidDevNode);
    QCOMPARE(reenumerate(RootDevNode, 1, nullptr), ConfigFailure);
    QCOMPARE(reenumerate(RootDevNode, ReenumerateNormal, this), ConfigFailure);
    {
        // Without udev's daemon, or without the rights to ask it.
        const OrdinaryUser user;
        const ConfigRet result = reenumerate(RootDevNode, ReenumerateNormal, nullptr);
        const bool hasDaemon = QFile::exists("/run/udev/control");
        QCOMPARE(result, hasDaemon ? DWORD(ConfigAccessDenied) : DWORD(ConfigFailure));
    }
    m_platform->FreeLibrary(library);
}

void SystemTest::aDriverIsUpdatedThroughItsLibrary()
{
    const HMODULE library = m_platform->LoadLibraryW(u"newdev.dll");
    const auto update = reinterpret_cast<UpdateDriverFunction>(
        m_platform->GetProcAddress(library, "UpdateDriverForPlugAndPlayDevicesW"));
    QVERIFY(!update(nullptr, u"mtkgprsmodem", u"/none.inf", InstallFlagForce, nullptr));
    QCOMPARE(m_platform->GetLastError(), ErrorFileNotFound);
    m_platform->FreeLibrary(library);
}

void SystemTest::aProgramIsStartedAndNotWaitedFor()
{
    write("Install Driver", "#!/bin/sh\nread -r line <\"$2\"\necho \"$# $1 $line\" >\"$2.out\"\n",
          true);
    QCOMPARE(QProcess::execute("mkfifo", {m_folder->filePath("gate")}), 0);
    ProcessInformation process = {};
    // The name of the program elsewhere, with its separators and its ending.
    const QString path = m_folder->filePath("Install Driver.exe").replace('/', '\\');
    QVERIFY(start(path, QString("InstallDriver \"-a b\" %1").arg(m_folder->filePath("gate")),
                  &process));
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 0), DWORD(258)); // WAIT_TIMEOUT
    write("gate", "go\n");
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 10000), WaitObject0);
    QCOMPARE(contentOf("gate.out"), QByteArray("2 -a b go\n"));
    QVERIFY(m_platform->CloseHandle(process.hProcess));
    QVERIFY(m_platform->CloseHandle(process.hThread));
    QVERIFY(!m_platform->CloseHandle(process.hThread));
    // Without a command line it is told its own path.
    write("Bare", "#!/bin/sh\necho \"$# $0\" >\"$0.out\"\n", true);
    QVERIFY(start(m_folder->filePath("Bare"), "", &process));
    QCOMPARE(m_platform->WaitForSingleObject(process.hProcess, 10000), WaitObject0);
    QCOMPARE(contentOf("Bare.out"), "0 " + m_folder->filePath("Bare").toLocal8Bit() + '\n');
}

void SystemTest::startingAProgramIsRefused()
{
    ProcessInformation process = {};
    const auto failsWith = [&](DWORD code, const QString &name) {
        setLastError(Success);
        return !start(m_folder->filePath(name), "x", &process) && lastError() == code;
    };
    QVERIFY(failsWith(ErrorFileNotFound, "none.exe"));
    write("plain", "no program", false);
    QVERIFY(failsWith(ErrorAccessDenied, "plain"));
    write("nonsense", "no program", true);
    QVERIFY(failsWith(193, "nonsense")); // ERROR_BAD_EXE_FORMAT
    QVERIFY(failsWith(ErrorAccessDenied, ""));
    QCOMPARE(process.hProcess, HANDLE(nullptr));

    StartupInfo startup = {};
    WCHAR line[] = u"x";
    const auto create = [&](BOOL inherit, void *environment) {
        return m_platform->CreateProcessW(u"/bin/true", line, nullptr, nullptr, inherit, 0,
                                          environment, nullptr, &startup, &process);
    };
    QVERIFY(!create(0, nullptr));
    QCOMPARE(lastError(), ErrorInvalidParameter);
    startup.cb = sizeof startup;
    QVERIFY(!create(1, nullptr));
    QCOMPARE(lastError(), ErrorNotSupported);
    QVERIFY(!create(0, &startup));
    QCOMPARE(lastError(), ErrorNotSupported);
}

void SystemTest::theSystemIsA64BitWorkstation()
{
    OsVersionInfoEx version = {};
    version.dwOSVersionInfoSize = sizeof version;
    QVERIFY(m_platform->GetVersionExW(&version));
    QCOMPARE(version.dwMajorVersion, DWORD(6));
    QCOMPARE(version.dwMinorVersion, DWORD(1));
    QCOMPARE(version.dwPlatformId, PlatformWin32Nt);
    QCOMPARE(version.wProductType, ProductWorkstation);
    QCOMPARE(m_platform->GetSystemMetrics(MetricServerR2), 0);
    const WORD expected = sizeof(void *) == 8 ? ArchitectureX64 : ArchitectureIntel;
    SystemInfo system = {};
    m_platform->GetSystemInfo(&system);
    QCOMPARE(system.wProcessorArchitecture, expected);
    SystemInfo native = {};
    reinterpret_cast<GetNativeSystemInfoFunction>(m_platform->GetProcAddress(
        m_platform->GetModuleHandleW(u"kernel32.dll"), "GetNativeSystemInfo"))(&native);
    QCOMPARE(native.wProcessorArchitecture, expected);
}

void SystemTest::onlyRootIsAnAdministrator()
{
    QCOMPARE(m_platform->IsUserAnAdmin() != 0, ::geteuid() == 0);
    const OrdinaryUser user;
    QCOMPARE(m_platform->IsUserAnAdmin(), 0);
}

void SystemTest::factsAreRefused()
{
    OsVersionInfoEx version = {};
    QVERIFY(!m_platform->GetVersionExW(&version));
    QCOMPARE(lastError(), ErrorInsufficientBuffer);
    QVERIFY(!m_platform->GetVersionExW(nullptr));
    QCOMPARE(lastError(), ErrorInvalidParameter);
}

void SystemTest::portsThatAreNotThere()
{
    QVERIFY(m_platform->CreateFileW(u"\\\\.\\COM4711", GenericRead | GenericWrite, 0, nullptr,
                                    OpenExisting, FileFlagOverlapped, nullptr) == invalidHandle());
    QCOMPARE(lastError(), ErrorFileNotFound);
    QVERIFY(QDir(m_folder->path()).mkpath("state"));
    write("state/state.json", "damaged");
    QVERIFY(m_platform->CreateFileW(u"\\\\.\\COM1", GenericRead | GenericWrite, 0, nullptr,
                                    OpenExisting, FileFlagOverlapped, nullptr) == invalidHandle());
    QCOMPARE(lastError(), ErrorInvalidData);
}

void SystemTest::announcedLinesAreInUse_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<bool>("isLocked");
    QTest::newRow("none") << QByteArray() << false;
    QTest::newRow("living") << QByteArray::number(::getpid()).rightJustified(10) + '\n' << true;
    QTest::newRow("another user's") << QByteArray("         1\n") << true;
    QTest::newRow("dead") << QByteArray("   4194305\n") << false; // beyond the highest number
    QTest::newRow("nonsense") << QByteArray("x\n") << false;
    QTest::newRow("nobody") << QByteArray("         0\n") << false;
    QTest::newRow("a group of processes") << QByteArray("        -1\n") << false;
    QTest::newRow("too large") << QByteArray("99999999999999999999\n") << false;
    QTest::newRow("1 with a bit too many") << QByteArray("4294967297\n") << false;
    QTest::newRow("bytes") << QByteArray("\x01\x00\x00\x00", 4) << false;
    QTest::newRow("a format") << QByteArray("%n%n%n%n\n") << false;
    QTest::newRow("endless") << QByteArray(1000000, '9') << false;
    QTest::newRow("what follows") << QByteArray::number(::getpid()) + " minicom anna\n" << true;
}

void SystemTest::announcedLinesAreInUse()
{
    QFETCH(QByteArray, content);
    QFETCH(bool, isLocked);
    if (!content.isEmpty())
        write("LCK..ttyACM0", content);
    QCOMPARE(lockOwner(m_folder->path(), "ttyACM0") > 0, isLocked);
    QCOMPARE(lockOwner(m_folder->path(), "ttyACM1"), pid_t(0));
}

void SystemTest::whatIsNoLockFileIsNoLock_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"pipe", "link", "link to nowhere", "folder", "socket"})
        QTest::newRow(kind) << kind;
}

/// Anyone may put things into the folder of locks.
void SystemTest::whatIsNoLockFileIsNoLock()
{
    QFETCH(QString, kind);
    const QString name = m_folder->filePath("LCK..ttyACM0");
    write("elsewhere", QByteArray::number(::getpid()) + '\n');
    if (kind == "pipe")
        QCOMPARE(::mkfifo(name.toLocal8Bit().constData(), 0666), 0);
    else if (kind == "link")
        QVERIFY(QFile::link(m_folder->filePath("elsewhere"), name));
    else if (kind == "link to nowhere")
        QVERIFY(QFile::link(m_folder->filePath("none"), name));
    else if (kind == "folder")
        QVERIFY(QDir().mkdir(name));
    else
        QCOMPARE(::mknod(name.toLocal8Bit().constData(), S_IFSOCK | 0666, 0), 0);
    QCOMPARE(lockOwner(m_folder->path(), "ttyACM0"), pid_t(0));
    QVERIFY(isLockNameTaken(m_folder->path(), "ttyACM0"));
    // A line without one, and a real lock file.
    QVERIFY(!isLockNameTaken(m_folder->path(), "ttyACM1"));
    write("LCK..ttyACM1", "x");
    QVERIFY(!isLockNameTaken(m_folder->path(), "ttyACM1"));
}

/// Others cannot tell whose it is; pppd can, as root.
void SystemTest::aLockThatMayNotBeReadIsPppds()
{
    setMode(m_folder->path(), 0755);
    write("LCK..ttyACM0", QByteArray::number(::getpid()) + '\n');
    setMode(m_folder->filePath("LCK..ttyACM0"), 0);
    {
        const OrdinaryUser user;
        QCOMPARE(lockOwner(m_folder->path(), "ttyACM0"), pid_t(0));
        QVERIFY(!isLockNameTaken(m_folder->path(), "ttyACM0"));
    }
    QCOMPARE(lockOwner(m_folder->path(), "ttyACM0"), ::geteuid() == 0 ? ::getpid() : 0);
}

void SystemTest::twoChangesAtOnceBothLast()
{
    const QString folder = m_folder->filePath("state");
    const auto addMany = [folder](const QString &prefix) {
        StateStore store(folder);
        for (int i = 0; i < 50; ++i) {
            store.change([&](QJsonObject *content) {
                content->insert(prefix + QString::number(i), i);
                return true;
            });
        }
    };
    std::thread other(addMany, "a");
    addMany("b");
    other.join();
    QJsonObject content;
    QCOMPARE(StateStore(folder).read(&content), DWORD(Success));
    QCOMPARE(content.size(), 100);
}

/// A helper that was stopped in the middle would stop everybody else.
void SystemTest::aChangeDoesNotWaitForEver()
{
    const QString folder = m_folder->filePath("state");
    StateStore store(folder, std::chrono::milliseconds(100));
    QCOMPARE(store.change([](QJsonObject *) { return true; }), DWORD(Success));
    bool wasCalled = false;
    const auto change = [&wasCalled](QJsonObject *) {
        wasCalled = true;
        return true;
    };
    {
        const FileLock other(folder + "/state.lock", 0600);
        QCOMPARE(other.error(), 0);
        QCOMPARE(store.change(change), DWORD(ErrorGenFailure));
        QVERIFY(!wasCalled);
        QCOMPARE(store.putAside(), DWORD(ErrorGenFailure));
    }
    QCOMPARE(store.change(change), DWORD(Success));
    QVERIFY(wasCalled);
}

void SystemTest::theStoreIsEveryonesToRead()
{
    setMode(m_folder->path(), 0755);
    StateStore store(m_folder->filePath("state"));
    const mode_t before = ::umask(077); // of a careful administrator
    const DWORD code = store.change([](QJsonObject *content) {
        content->insert("key", 1);
        return true;
    });
    ::umask(before);
    QCOMPARE(code, DWORD(Success));
    {
        const OrdinaryUser user;
        QJsonObject content;
        QCOMPARE(store.read(&content), DWORD(Success));
        QCOMPARE(content.size(), 1);
    }
    // Whoever can open the lock can hold it for ever.
    const QFile::Permissions permissions =
        QFile(m_folder->filePath("state/state.lock")).permissions();
    QVERIFY(!(permissions & (QFile::ReadGroup | QFile::ReadOther)));
}

void SystemTest::aStoreThatMayNotBeReadIsNotEmpty()
{
    setMode(m_folder->path(), 0755);
    StateStore store(m_folder->filePath("state"));
    QCOMPARE(store.change([](QJsonObject *) { return true; }), DWORD(Success));
    setMode(store.folder(), 0);
    DWORD code = Success;
    {
        const OrdinaryUser user;
        QJsonObject content;
        code = store.read(&content);
    }
    setMode(store.folder(), 0755);
    QCOMPARE(code, DWORD(ErrorAccessDenied));
}

void SystemTest::aStoreWithoutAPlaceIsRefused()
{
    StateStore store("/proc/none/deeper/state");
    bool wasCalled = false;
    QCOMPARE(store.change([&wasCalled](QJsonObject *) { return wasCalled = true; }),
             DWORD(ErrorFileNotFound));
    QVERIFY(!wasCalled);
    QCOMPARE(store.putAside(), DWORD(ErrorFileNotFound));
}

void SystemTest::whatIsPutAsideTakesNothingsPlace()
{
    StateStore store(m_folder->filePath("state"));
    QVERIFY(QDir(m_folder->path()).mkdir("state"));
    QCOMPARE(store.putAside(), DWORD(ErrorFileNotFound)); // there is none
    write("state/" + QFileInfo(store.file()).fileName(), "damaged");
    for (int number = 1; number < 100; ++number)
        write(QString("state/%1.damaged%2").arg(QFileInfo(store.file()).fileName()).arg(number),
              "other");
    QCOMPARE(store.putAside(), DWORD(ErrorGenFailure));
    QCOMPARE(contentOf("state/" + QFileInfo(store.file()).fileName()), QByteArray("damaged"));
    QVERIFY(QFile::remove(store.file() + ".damaged70"));
    QCOMPARE(store.putAside(), DWORD(Success));
    QVERIFY(!QFile::exists(store.file()));
    QCOMPARE(contentOf(QString("state/%1.damaged70").arg(QFileInfo(store.file()).fileName())),
             QByteArray("damaged"));
}

QTEST_GUILESS_MAIN(SystemTest)
#include "system_test.moc"
