#include "dialup/dialling.h"
#include "tests/support/bench.h"
#include "tests/support/stdoutcapture.h"

#include <QTest>

#include <cstring>

using namespace platform;

namespace {

const QByteArray ok = "\r\nOK\r\n";
const QByteArray error = "\r\nERROR\r\n";

bool connectEntry(const QString &entry = "TolvaneModem 1")
{
    const StdoutCapture capture;
    return setApnAndDial(entry, 7, "gpinternet");
}

} // namespace

class DiallingTest : public QObject
{
    Q_OBJECT

private slots:
    void dials();
    void dialFails_data();
    void dialFails();
    void entryNames_data();
    void entryNames();

    void writesTheApnFirst();
    void noDialWithoutAPort_data();
    void noDialWithoutAPort();
    void dialsWithoutAnEventMask();
    void modemsErrorDoesNotStop();
    void dialFailsAfterTheApn();
    void portIsClosedWhileDialling();
};

void DiallingTest::dials()
{
    Bench<> bench;
    QVERIFY(dialConnection("TolvaneModem 1"));
    QCOMPARE(bench.calls(), QStringList({"RasDialDlgW(null, \"TolvaneModem 1\", \"*99#\", &)"}));
    QCOMPARE(bench.log.lines(), QStringList());
    const auto &dial = bench.machine.dials.first();
    QVERIFY(dial.phonebookNull);
    RasDialDialog expected{};
    expected.dwSize = 48;
    QCOMPARE(std::memcmp(&dial.record, &expected, sizeof expected), 0);
}

void DiallingTest::dialFails_data()
{
    QTest::addColumn<bool>("cancelled");
    QTest::newRow("closed by the user") << true;
    QTest::newRow("call fails") << false;
}

void DiallingTest::dialFails()
{
    QFETCH(const bool, cancelled);
    Bench<> bench;
    bench.machine.dialSucceeds = !cancelled;
    if (!cancelled)
        bench.fail("RasDialDlgW", RasErrorEntryNotFound);
    QVERIFY(!dialConnection("TolvaneModem 1"));
    QVERIFY(!isDialupEntryMissing());
    QCOMPARE(bench.injector.operations(), QStringList({"RasDialDlgW"}));
    QCOMPARE(bench.log.lines(), QStringList());
}

void DiallingTest::entryNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("dialled");
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("Caf\u00e9 \U0001F4F1")
                                  << QString::fromUtf8("Caf\u00e9 \U0001F4F1");
    // The buffer holds 199 units and the terminator.
    QTest::newRow("199 units") << QString(199, 'n') << QString(199, 'n');
    QTest::newRow("200 units") << QString(200, 'n') << QString(199, 'n');
    QTest::newRow("5000 units") << QString(5000, 'n') << QString(199, 'n');
}

void DiallingTest::entryNames()
{
    QFETCH(const QString, name);
    QFETCH(const QString, dialled);
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    QVERIFY(connectEntry(name));
    QCOMPARE(bench.machine.dials.first().entry, dialled);
    QCOMPARE(bench.machine.dials.first().number, QString("*99#"));
}

void DiallingTest::writesTheApnFirst()
{
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    QByteArray writtenBefore;
    bench.machine.whileDialling = [&] { writtenBefore = bench.machine.written; };
    QVERIFY(connectEntry());
    QCOMPARE(writtenBefore, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"gpinternet\"\r"));
    QCOMPARE(bench.machine.openedPath, QString("\\\\.\\COM7"));
    QCOMPARE(bench.injector.operations().last(), QString("RasDialDlgW"));
    QCOMPARE(bench.machine.dials.size(), 1);
}

void DiallingTest::noDialWithoutAPort_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation : {"CreateFileW", "GetCommState", "SetCommState", "SetCommTimeouts"})
        QTest::newRow(operation) << QString(operation);
}

void DiallingTest::noDialWithoutAPort()
{
    QFETCH(const QString, operation);
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    bench.fail(operation, ErrorFileNotFound);
    QVERIFY(!connectEntry());
    QCOMPARE(bench.injector.operations().last(), operation);
    QCOMPARE(bench.machine.dials.size(), 0);
    QCOMPARE(bench.machine.written, QByteArray());
    QVERIFY(bench.log.lines().last().endsWith('2'));
}

void DiallingTest::dialsWithoutAnEventMask()
{
    Bench<> bench;
    bench.fail("SetCommMask", ErrorGenFailure);
    QVERIFY(connectEntry());
    QCOMPARE(bench.machine.written, QByteArray());
    QCOMPARE(bench.injector.operations().mid(4), QStringList({"SetCommMask", "RasDialDlgW"}));
    QCOMPARE(bench.machine.openPorts(), 1);
}

void DiallingTest::modemsErrorDoesNotStop()
{
    for (const auto &chunks :
         {QList<QByteArray>{error, error}, QList<QByteArray>{ok, error}, QList<QByteArray>{}}) {
        Bench<> bench;
        bench.machine.chunks = chunks;
        QVERIFY(connectEntry());
        QCOMPARE(bench.machine.dials.size(), 1);
    }
}

void DiallingTest::dialFailsAfterTheApn()
{
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    bench.machine.dialSucceeds = false;
    QVERIFY(!connectEntry());
    QCOMPARE(bench.machine.dials.size(), 1);
    QCOMPARE(bench.machine.written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"gpinternet\"\r"));
}

// The dial goes out through the port that the APN step used.
void DiallingTest::portIsClosedWhileDialling()
{
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    int open = -1;
    bench.machine.whileDialling = [&] { open = bench.machine.openPorts(); };
    QVERIFY(connectEntry());
    QCOMPARE(open, 0);
}

QTEST_GUILESS_MAIN(DiallingTest)
#include "dialling_test.moc"
