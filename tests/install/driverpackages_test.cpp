#include "install/driverpackages.h"
#include "install/installationsteps.h"
#include "platform/text.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <cstring>
#include <memory>

using namespace platform;

namespace {

QString driverFile(const QString &name)
{
    return QCoreApplication::applicationDirPath().replace('/', '\\') + "\\drivers\\" + name;
}

/// The path of the modem INF, by way of a buffer that the sanitizer watches.
QString modemInf()
{
    const auto buffer = std::make_unique<WCHAR[]>(PathBufferSize);
    GetModemINFLocation(buffer.get());
    return fromWide(buffer.get());
}

const QString installerLine = "Installer location: " + quoted("%1");

} // namespace

class DriverPackagesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { m_store = std::make_unique<TestSettings>(); }
    void init() { m_store->clear(); }

    void modemInfLocation_data();
    void modemInfLocation();
    void modemInfLocationIsLogged();
    void folderLongerThanThePaths();

    void copiesAnInf();
    void copyIsRefused();

    void startsTheInstaller();
    void installerDoesNotStart_data();
    void installerDoesNotStart();
    void handlesThatDoNotCloseChangeNothing();

    void setsUpOnce();
    void setUpBefore();
    void setUpFails_data();
    void setUpFails();
    void setUpIsRepeatedAfterAFailure();

private:
    std::unique_ptr<TestSettings> m_store;
};

void DriverPackagesTest::modemInfLocation_data()
{
    QTest::addColumn<DWORD>("minor"); // of version 6
    QTest::addColumn<int>("architecture");
    QTest::addColumn<QString>("file");
    QTest::newRow("Windows 7") << DWORD{1} << 0 << "modem_inf_32.inf";
    QTest::newRow("Windows 7 x64") << DWORD{1} << 9 << "modem_inf_64.inf";
    QTest::newRow("Windows 7 Itanium") << DWORD{1} << 6 << "modem_inf_64.inf";
    QTest::newRow("Vista") << DWORD{0} << 0 << "modem_inf_32.inf";
    QTest::newRow("Vista x64") << DWORD{0} << 9 << "modem_inf_64.inf";
    // A release that is not known gets the 32-bit file on any processor.
    QTest::newRow("Windows 8 x64") << DWORD{2} << 9 << "modem_inf_32.inf";
    QTest::newRow("Windows 8 Itanium") << DWORD{2} << 6 << "modem_inf_32.inf";
}

void DriverPackagesTest::modemInfLocation()
{
    QFETCH(const DWORD, minor);
    QFETCH(const int, architecture);
    QFETCH(const QString, file);
    Bench<> bench;
    bench.machine.version.dwMinorVersion = minor;
    bench.machine.architecture = static_cast<WORD>(architecture);
    const QString path = modemInf();
    QCOMPARE(path, driverFile(file));
    QVERIFY(!path.contains('/'));
}

void DriverPackagesTest::modemInfLocationIsLogged()
{
    Bench<> bench;
    modemInf();
    QCOMPARE(bench.log.lines(), QStringList({messageLine("\"GetModemINFLocation\"",
                                                         quoted(driverFile("modem_inf_64.inf")))}));
}

/// The paths that the system gets end after 260 characters, those in the log do
/// not.
void DriverPackagesTest::folderLongerThanThePaths()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("Windows starts no program from such a folder.");
    const QTemporaryDir dir;
    const QString folder = QFileInfo(dir.path()).canonicalFilePath() + '/' + QString(200, 'a') +
                           '/' + QString(200, 'b');
    QVERIFY(QDir().mkpath(folder));
    const QString program = folder + "/drivers_probe";
    QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() + "/drivers_probe", program));
    QProcess process;
    process.start(program, QStringList());
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.readAllStandardError(), QByteArray());
    QCOMPARE(process.exitCode(), 0);
    const QString drivers = QString(folder).replace('/', '\\') + "\\drivers\\";
    QCOMPARE(QString::fromUtf8(process.readAllStandardOutput()).split('\n'),
             QStringList({"installer=" + drivers.left(260), "inf=" + drivers.left(260),
                          "log=" + installerLine.arg(drivers + "InstallDriver.exe"),
                          "log=" + messageLine("\"GetModemINFLocation\"",
                                               quoted(drivers + "modem_inf_64.inf"))
                                       .trimmed(),
                          ""}));
}

void DriverPackagesTest::copiesAnInf()
{
    Bench<> bench;
    const QString path = "C:\\a b\\x.inf";
    QVERIFY(CopyInf(wide(path)));
    QCOMPARE(bench.calls(),
             QStringList(
                 {"SetupCopyOEMInfW(\"C:\\a b\\x.inf\", \"C:\\a b\\x.inf\", "
                  "0, 262144, null, 0, null, null)"})); // SPOST_NONE, SP_COPY_OEMINF_CATALOG_ONLY
    QCOMPARE(bench.log.lines(), QStringList());
}

void DriverPackagesTest::copyIsRefused()
{
    Bench<> bench;
    bench.fail("SetupCopyOEMInfW", ErrorAccessDenied);
    const QString path = "C:\\%1\\x.inf";
    QVERIFY(!CopyInf(wide(path)));
    QCOMPARE(bench.log.lines(),
             QStringList({"ERROR  CopyInf  -  \"Failed, location \"C:\\%1\\x.inf\" \" \n"}));
}

void DriverPackagesTest::startsTheInstaller()
{
    Bench<> bench;
    QVERIFY(RunDriverInstaller());
    const QString path = driverFile("InstallDriver.exe");
    QCOMPARE(bench.calls(), QStringList({"CreateProcessW(" + quoted(path) +
                                             ", \"InstallDriver -a\", null, null, 0, 0, null, "
                                             "null, &, &)",
                                         "CloseHandle(0x10)", "CloseHandle(0x20)"}));
    QCOMPARE(bench.log.lines(), QStringList({installerLine.arg(path)}));
    QCOMPARE(bench.leftOpen(), QString());

    const auto &process = bench.machine.startedProcesses.first();
    QCOMPARE(process.application, path);
    QCOMPARE(process.commandLine, QString("InstallDriver -a"));
    QVERIFY(!process.inheritHandles && !process.ownDirectory && process.attributesNull);
    QCOMPARE(process.flags, 0u);
    StartupInfo expected{};
    expected.cb = 104;
    QCOMPARE(std::memcmp(&process.startup, &expected, sizeof expected), 0);
}

void DriverPackagesTest::installerDoesNotStart_data()
{
    QTest::addColumn<DWORD>("code");
    QTest::newRow("missing") << ErrorFileNotFound;
    QTest::newRow("access denied") << ErrorAccessDenied;
}

void DriverPackagesTest::installerDoesNotStart()
{
    QFETCH(const DWORD, code);
    Bench<> bench;
    bench.fail("CreateProcessW", code);
    QVERIFY(!RunDriverInstaller());
    // Both handles are closed on this path too, although there are none.
    QCOMPARE(bench.calls().mid(1), QStringList({"CloseHandle(null)", "CloseHandle(null)"}));
    QCOMPARE(bench.log.lines(), QStringList({installerLine.arg(driverFile("InstallDriver.exe"))}));
}

void DriverPackagesTest::handlesThatDoNotCloseChangeNothing()
{
    Bench<> bench;
    bench.injector.inject({"CloseHandle", 1, ErrorInvalidHandle, true});
    QVERIFY(RunDriverInstaller());
    QCOMPARE(bench.leftOpen(), QString("2 process handles"));
}

void DriverPackagesTest::setsUpOnce()
{
    Bench<> bench;
    QVERIFY(SetupAllInfs());
    const QString inf = driverFile("modem_inf_64.inf");
    QCOMPARE(bench.injector.operations(),
             QStringList({"CreateProcessW", "CloseHandle", "CloseHandle", "GetVersionExW",
                          "GetModuleHandleW", "GetProcAddress", "GetNativeSystemInfo",
                          "SetupCopyOEMInfW"}));
    QCOMPARE(bench.log.lines(), QStringList({installerLine.arg(driverFile("InstallDriver.exe")),
                                             messageLine("\"GetModemINFLocation\"", quoted(inf))}));
    QCOMPARE(bench.machine.copiedInf, inf);
    QCOMPARE(QSettings().allKeys(), QStringList({"isINFSetupDone"}));
    QCOMPARE(QSettings().value("isINFSetupDone"), QVariant(true));
    QCOMPARE(bench.leftOpen(), QString());

    bench.injector.reset();
    bench.log.clear();
    QVERIFY(SetupAllInfs());
    QCOMPARE(bench.calls(), QStringList());
    QCOMPARE(bench.log.lines(), QStringList());
}

void DriverPackagesTest::setUpBefore()
{
    Bench<> bench;
    QSettings().setValue("isINFSetupDone", true);
    QVERIFY(SetupAllInfs());
    QCOMPARE(bench.calls(), QStringList());
    QCOMPARE(bench.log.lines(), QStringList());
}

void DriverPackagesTest::setUpFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<bool>("installerStarted");
    QTest::addColumn<QStringList>("errors");
    QTest::newRow("installer") << "CreateProcessW" << false
                               << QStringList{errorLine("SetupAllInfs", "Port INF setup failed.")};
    // The installer goes on working.
    QTest::newRow("copy")
        << "SetupCopyOEMInfW" << true
        << QStringList{errorLine("CopyInf", quoted("Failed, location " +
                                                   quoted(driverFile("modem_inf_64.inf")) + ' ')),
                       errorLine("SetupAllInfs", "Modem INF setup failed.")};
}

void DriverPackagesTest::setUpFails()
{
    QFETCH(const QString, operation);
    QFETCH(const bool, installerStarted);
    QFETCH(const QStringList, errors);
    Bench<> bench;
    bench.fail(operation, ErrorAccessDenied);
    QVERIFY(!SetupAllInfs());
    QStringList lines = {installerLine.arg(driverFile("InstallDriver.exe"))};
    if (installerStarted)
        lines.append(
            messageLine("\"GetModemINFLocation\"", quoted(driverFile("modem_inf_64.inf"))));
    QCOMPARE(bench.log.lines(), lines + errors);
    QCOMPARE(bench.machine.startedProcesses.size(), installerStarted ? 1 : 0);
    QCOMPARE(bench.injector.operations().contains("SetupCopyOEMInfW"), installerStarted);
    QCOMPARE(QSettings().allKeys(), QStringList());
    QCOMPARE(bench.leftOpen(), QString());
}

void DriverPackagesTest::setUpIsRepeatedAfterAFailure()
{
    Bench<> bench;
    bench.fail("SetupCopyOEMInfW", ErrorAccessDenied);
    QVERIFY(!SetupAllInfs());
    QVERIFY(SetupAllInfs());
    QCOMPARE(bench.machine.startedProcesses.size(), 2);
    QVERIFY(QSettings().value("isINFSetupDone").toBool());
}

QTEST_GUILESS_MAIN(DriverPackagesTest)
#include "driverpackages_test.moc"
