#include "install/devicerescan.h"
#include "install/installationsteps.h"
#include "tests/support/bench.h"
#include "tests/support/stdoutcapture.h"

#include <QTest>
#include <QThread>

using namespace platform;

namespace {

const QString function = "\"ReScanDriver()\"";
const QString located = messageLine(function, "CM_Locate_DevNode_Ex done");
const QString rescanned = messageLine(function, "CM_Reenumerate_DevNode_Ex done");
const QString locateFailed = errorLine(function, "CM_Locate_DevNode_Ex failed");
const QString rescanFailed = errorLine(function, "CM_Reenumerate_DevNode_Ex failed");
const QByteArray libraryMissing = "Error, cfgmgr32.dll not found\n";

const QStringList locateCalls = {
    "LoadLibraryW(\"cfgmgr32.dll\")", "GetProcAddress(0x10, \"CM_Locate_DevNode_ExA\")",
    "CM_Locate_DevNode_ExA(&, null, 0, null)", // CM_LOCATE_DEVNODE_NORMAL
    "FreeLibrary(0x10)"};
const QStringList rescanCalls = {"LoadLibraryW(\"cfgmgr32.dll\")",
                                 "GetProcAddress(0x20, \"CM_Reenumerate_DevNode_Ex\")",
                                 "CM_Reenumerate_DevNode_Ex(1, 0, null)", // CM_REENUMERATE_NORMAL
                                 "FreeLibrary(0x20)"};

struct Outcome {
    bool result;
    QByteArray printed;
};

Outcome rescan()
{
    const StdoutCapture capture;
    const bool result = ReScanDriver();
    return {result, capture.text()};
}

} // namespace

class DeviceRescanTest : public QObject
{
    Q_OBJECT

private slots:
    void rescans();
    void pausesOnTheThreadThatCalls();
    void operationFails_data();
    void operationFails();
    void libraryIsMissing();
    void argumentsArePassedOn();
    void resultsArePassedOn();
};

void DeviceRescanTest::rescans()
{
    Bench<> bench;
    bool ran = false;
    bench.machine.whileRescanning = [&] {
        ran = true;
        QCOMPARE(bench.machine.loadedLibraries(), 1);
    };
    const Outcome outcome = rescan();
    QVERIFY(outcome.result && ran);
    QCOMPARE(outcome.printed, QByteArray());
    QCOMPARE(bench.calls(), locateCalls + rescanCalls);
    QCOMPARE(bench.log.lines().mid(0, 2), QStringList({located, rescanned}));
    QCOMPARE(bench.leftOpen(), QString());
}

// The nominal pause is a thread's wait for itself. The toolkit refuses it
// and says so, behind the last of the program's own lines.
void DeviceRescanTest::pausesOnTheThreadThatCalls()
{
    Bench<> bench;
    QVERIFY(rescan().result);
    QCOMPARE(bench.log.lines().size(), 3);
    QVERIFY(bench.log.lines().last().startsWith("QThread::wait"));

    bench.log.clear();
    bool result = false;
    QScopedPointer<QThread> thread(QThread::create([&] { result = ReScanDriver(); }));
    thread->start();
    QVERIFY(thread->wait());
    QVERIFY(result);
    QCOMPARE(bench.log.lines().size(), 3);
}

void DeviceRescanTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<DWORD>("code");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<int>("calls");
    QTest::addColumn<QString>("leftOpen");
    const QByteArray none;
    QTest::newRow("no library") << "LoadLibraryW" << 1 << ErrorModuleNotFound << false
                                << QStringList{locateFailed} << libraryMissing << 1 << "";
    QTest::newRow("no library the second time")
        << "LoadLibraryW" << 2 << ErrorModuleNotFound << false << QStringList{located, rescanFailed}
        << libraryMissing << 5 << "";
    QTest::newRow("locate") << "CM_Locate_DevNode_ExA" << 1 << ConfigFailure << false
                            << QStringList{locateFailed} << none << 4 << "";
    QTest::newRow("locate, default code") << "CM_Locate_DevNode_ExA" << 1 << ConfigDefault << false
                                          << QStringList{locateFailed} << none << 4 << "";
    QTest::newRow("rescan") << "CM_Reenumerate_DevNode_Ex" << 1 << ConfigFailure << false
                            << QStringList{located, rescanFailed} << none << 8 << "";
    QTest::newRow("free") << "FreeLibrary" << 1 << ErrorInvalidHandle << true
                          << QStringList{located, rescanned} << none << 8 << "1 library";
}

void DeviceRescanTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const DWORD, code);
    QFETCH(const bool, result);
    QFETCH(const QStringList, lines);
    QFETCH(const QByteArray, printed);
    QFETCH(const int, calls);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.fail(operation, code, call);
    const Outcome outcome = rescan();
    QCOMPARE(outcome.result, result);
    QCOMPARE(outcome.printed, printed);
    // The toolkit's line about the pause stands behind success only.
    QCOMPARE(QStringList(bench.log.lines().mid(0, lines.size())), lines);
    QCOMPARE(bench.log.lines().size(), lines.size() + (result ? 1 : 0));
    QCOMPARE(bench.calls(), QStringList((locateCalls + rescanCalls).mid(0, calls)));
    QCOMPARE(bench.leftOpen(), leftOpen);
}

void DeviceRescanTest::libraryIsMissing()
{
    Bench<> bench;
    bench.machine.missingLibraries = {"cfgmgr32.dll"};
    const Outcome outcome = rescan();
    QVERIFY(!outcome.result);
    QCOMPARE(outcome.printed, libraryMissing);
    QCOMPARE(bench.log.lines(), QStringList({locateFailed}));
    QCOMPARE(bench.calls(), QStringList({"LoadLibraryW(\"cfgmgr32.dll\")"}));
}

void DeviceRescanTest::argumentsArePassedOn()
{
    Bench<> bench;
    DEVINST node = 0;
    QCOMPARE(LocateDevNode(&node, "ROOT\\MODEM\\0000", 4, reinterpret_cast<HANDLE>(ULONG_PTR{9})),
             ConfigSuccess);
    QCOMPARE(node, DEVINST{1});
    ReenumerateDevNode(77, 3, reinterpret_cast<HANDLE>(ULONG_PTR{8}));
    const QStringList calls = bench.calls();
    QCOMPARE(calls.at(2), QString("CM_Locate_DevNode_ExA(&, \"ROOT\\MODEM\\0000\", 4, 0x9)"));
    QCOMPARE(calls.at(6), QString("CM_Reenumerate_DevNode_Ex(77, 3, 0x8)"));
}

void DeviceRescanTest::resultsArePassedOn()
{
    Bench<> bench;
    bench.fail("CM_Locate_DevNode_ExA", 0x25);
    bench.fail("CM_Reenumerate_DevNode_Ex", 0x33);
    DEVINST node = 0;
    QCOMPARE(LocateDevNode(&node, nullptr, 0, nullptr), ConfigRet{0x25});
    QCOMPARE(ReenumerateDevNode(1, 0, nullptr), ConfigRet{0x33});
    bench.machine.missingLibraries = {"cfgmgr32.dll"};
    ConfigRet missing[2] = {};
    {
        const StdoutCapture capture;
        missing[0] = LocateDevNode(&node, nullptr, 0, nullptr);
        missing[1] = ReenumerateDevNode(1, 0, nullptr);
        QCOMPARE(capture.text(), libraryMissing + libraryMissing);
    }
    QCOMPARE(missing[0], ConfigRet{1});
    QCOMPARE(missing[1], ConfigRet{1});
    QCOMPARE(bench.log.lines(), QStringList());
}

QTEST_GUILESS_MAIN(DeviceRescanTest)
#include "devicerescan_test.moc"
