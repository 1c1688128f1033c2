#include "serial/apnconfiguration.h"
#include "tests/support/bench.h"
#include "tests/support/stdoutcapture.h"

#include <QTest>

using namespace platform;

namespace {

const QByteArray ok = "\r\nOK\r\n";
const QByteArray error = "\r\nERROR\r\n";
const QByteArray written = "\nWriteFile completed immediately.\n";
const QString invalidCommand = "AT\r \ncommand is invalid\n";
const QStringList openedLines = {"\"\\\\.\\COM7\" \n",
                                 "Serial port  7  is successfully reconfigured."};

struct Outcome {
    bool result;
    QByteArray printed;
};

Outcome configure(const QString &apn)
{
    const StdoutCapture capture;
    const bool result = configureModemApn(7, apn);
    return {result, capture.text()};
}

} // namespace

class ApnConfigurationTest : public QObject
{
    Q_OBJECT

private slots:
    void writesTheApn();
    void apnAsItStands_data();
    void apnAsItStands();
    void modemAnswers_data();
    void modemAnswers();
    void operationFails_data();
    void operationFails();
    void pendingWrites();
};

void ApnConfigurationTest::writesTheApn()
{
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    const Outcome outcome = configure("gpinternet");

    QVERIFY(outcome.result);
    QCOMPARE(bench.machine.written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"gpinternet\"\r"));
    const QString wait = "WaitCommEvent(0x10, &, &)";
    const QString read = "ReadFile(0x10, @, 100, &, &)";
    const QString event = "CreateEventW(null, 1, 0, null)";
    QCOMPARE(
        bench.calls(),
        QStringList({"CreateFileW(\"\\\\.\\COM7\", 3221225472, 0, null, 3, 1073741824, null)",
                     "GetCommState(0x10, &)", "SetCommState(0x10, &)", "SetCommTimeouts(0x10, &)",
                     "SetCommMask(0x10, 5)", event, "WriteFile(0x10, &, 3, &, &)", event, wait,
                     "WaitForSingleObject(0x30, 4294967295)", read, event,
                     "WriteFile(0x10, &, 31, &, &)", event, wait,
                     "WaitForSingleObject(0x50, 4294967295)", read, "CloseHandle(0x10)"}));
    QCOMPARE(bench.log.lines(), openedLines);
    QCOMPARE(outcome.printed, written + ok + '\n' + written + ok + '\n');
    // Each write and each wait has an event of its own that stays open.
    QCOMPARE(bench.leftOpen(), QString("4 events"));
}

void ApnConfigurationTest::apnAsItStands_data()
{
    QTest::addColumn<QString>("apn");
    QTest::addColumn<QByteArray>("sent");
    QTest::newRow("empty") << "" << QByteArray();
    QTest::newRow("quotes") << "a\"b\",\"c" << QByteArray("a\"b\",\"c");
    QTest::newRow("place markers") << "%1 %2 %s" << QByteArray("%1 %2 %s");
    QTest::newRow("Latin-1") << QString(QChar(0xE9)) + QChar(0xFF) << QByteArray("\xe9\xff");
    QTest::newRow("beyond Latin-1") << QString(QChar(0x0995)) + "x" << QByteArray("?x");
    QTest::newRow("carriage return") << "a\rATH\r" << QByteArray("a\rATH\r");
    QTest::newRow("blanks") << " a b " << QByteArray(" a b ");
    QTest::newRow("long") << QString(10000, 'y') << QByteArray(10000, 'y');
}

void ApnConfigurationTest::apnAsItStands()
{
    QFETCH(const QString, apn);
    QFETCH(const QByteArray, sent);
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    QVERIFY(configure(apn).result);
    QCOMPARE(bench.machine.written, "AT\rAT+CGDCONT=1,\"IP\",\"" + sent + "\"\r");
}

// Whatever the modem answers, both commands are sent, the port is closed and
// the result is true.
void ApnConfigurationTest::modemAnswers_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QByteArray>("printedAnswers");
    QTest::addColumn<bool>("logged");
    using Chunks = QList<QByteArray>;
    const QByteArray failed = "Waiting for single object failed with error no 995\n";
    QTest::newRow("OK, OK") << Chunks{ok, ok} << ok + "\n|" + ok + '\n' << false;
    QTest::newRow("ERROR to AT") << Chunks{error, ok} << error + "\n|" + ok + '\n' << true;
    QTest::newRow("ERROR to the APN") << Chunks{ok, error} << ok + "\n|" + error + '\n' << false;
    QTest::newRow("ERROR to both") << Chunks{error, error} << error + "\n|" + error + '\n' << true;
    QTest::newRow("silence") << Chunks{} << failed + '|' + failed << false;
    QTest::newRow("silence to the APN") << Chunks{ok} << ok + "\n|" + failed << false;
    QTest::newRow("late answer taken for the next") << Chunks{ok, ok, ok} << ok + "\n|" + ok + '\n'
                                                    << false;
}

void ApnConfigurationTest::modemAnswers()
{
    QFETCH(const QList<QByteArray>, chunks);
    QFETCH(QByteArray, printedAnswers);
    QFETCH(const bool, logged);
    Bench<> bench;
    bench.machine.chunks = chunks;
    const Outcome outcome = configure("web");
    QVERIFY(outcome.result);
    QCOMPARE(bench.machine.written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"web\"\r"));
    QCOMPARE(outcome.printed, written + printedAnswers.replace("|", written));
    QCOMPARE(bench.log.lines(), logged ? openedLines + QStringList(invalidCommand) : openedLines);
    QCOMPARE(bench.leftOpen(), QString("4 events"));
}

void ApnConfigurationTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QString>("lastLine");
    QTest::addColumn<QString>("leftOpen");
    const QByteArray none;
    const QByteArray both = "AT\rAT+CGDCONT=1,\"IP\",\"web\"\r";
    const QByteArray second = "AT+CGDCONT=1,\"IP\",\"web\"\r";
    const QString opened = openedLines.last();

    QTest::newRow("CreateFileW") << "CreateFileW" << 1 << false << none
                                 << "CreateFile failed with error  5"
                                 << "";
    QTest::newRow("GetCommState") << "GetCommState" << 1 << false << none
                                  << "GetCommState failed with error 5"
                                  << "1 port";
    QTest::newRow("SetCommState") << "SetCommState" << 1 << false << none
                                  << "SetCommState failed with error 5"
                                  << "1 port";
    QTest::newRow("SetCommTimeouts")
        << "SetCommTimeouts" << 1 << false << none << "Error setting time-outs 5"
        << "1 port";
    // True without a command sent, and the port stays open.
    QTest::newRow("SetCommMask") << "SetCommMask" << 1 << true << none
                                 << "SetCommMask failed with error 5"
                                 << "1 port";
    // From here on nothing stops the sequence.
    QTest::newRow("event of the first write")
        << "CreateEventW" << 1 << true << second << opened << "3 events";
    QTest::newRow("event of the first wait")
        << "CreateEventW" << 2 << true << both << opened << "3 events";
    QTest::newRow("event of the second write")
        << "CreateEventW" << 3 << true << QByteArray("AT\r") << opened << "3 events";
    QTest::newRow("event of the second wait")
        << "CreateEventW" << 4 << true << both << opened << "3 events";
    QTest::newRow("first write") << "WriteFile" << 1 << true << second << opened << "4 events";
    QTest::newRow("second write") << "WriteFile" << 2 << true << QByteArray("AT\r") << opened
                                  << "4 events";
    QTest::newRow("first wait") << "WaitForSingleObject" << 1 << true << both << opened
                                << "4 events";
    QTest::newRow("second wait") << "WaitForSingleObject" << 2 << true << both << opened
                                 << "4 events";
    QTest::newRow("WaitCommEvent") << "WaitCommEvent" << 1 << true << both << opened << "4 events";
    QTest::newRow("ReadFile") << "ReadFile" << 1 << true << both << opened << "4 events";
    QTest::newRow("CloseHandle") << "CloseHandle" << 1 << true << both << opened
                                 << "1 port, 4 events";
}

void ApnConfigurationTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const bool, result);
    QFETCH(const QByteArray, sent);
    QFETCH(const QString, lastLine);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    bench.fail(operation, 5, call);
    QCOMPARE(configure("web").result, result);
    QCOMPARE(bench.injector.firedFaults(), 1);
    QCOMPARE(bench.machine.written, sent);
    QCOMPARE(bench.log.lines().last(), lastLine);
    QCOMPARE(bench.leftOpen(), leftOpen);
}

void ApnConfigurationTest::pendingWrites()
{
    for (const bool fails : {false, true}) {
        Bench<> bench;
        bench.machine.chunks = {ok, ok};
        bench.machine.writesArePending = true;
        if (fails)
            bench.fail("GetOverlappedResult", ErrorOperationAborted);
        const Outcome outcome = configure("web");
        QVERIFY(outcome.result);
        const QByteArray completed = "\nWrite operation completed successfully.\n";
        QCOMPARE(outcome.printed,
                 (fails ? QByteArray() : completed) + ok + '\n' + completed + ok + '\n');
        QCOMPARE(bench.machine.written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"web\"\r"));
        QCOMPARE(bench.leftOpen(), QString("4 events"));
    }
}

QTEST_GUILESS_MAIN(ApnConfigurationTest)
#include "apnconfiguration_test.moc"
