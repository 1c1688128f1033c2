#include "serial/apnconfiguration.h"
#include "tests/serial/serialfixture.h"

#include <QTest>

using namespace platform;

namespace {

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
    QCOMPARE(bench.calls(),
             QStringList{openingCom7} + configuration +
                 QStringList({newEvent, "WriteFile(0x10, &, 3, &, &)", newEvent, wait,
                              "WaitForSingleObject(0x30, 4294967295)", // INFINITE
                              read, newEvent, "WriteFile(0x10, &, 31, &, &)", newEvent, wait,
                              "WaitForSingleObject(0x50, 4294967295)", // INFINITE
                              read, "CloseHandle(0x10)"}));
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

// Each operation in turn: what is still called behind it, everything that is
// logged and printed, and what is left open.
void ApnConfigurationTest::operationFails_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("call");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<QStringList>("following");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QByteArray>("printed");
    QTest::addColumn<QString>("leftOpen");
    const QByteArray both = "AT\rAT+CGDCONT=1,\"IP\",\"web\"\r";
    const QByteArray first = "AT\r";
    const QByteArray second = "AT+CGDCONT=1,\"IP\",\"web\"\r";
    const QByteArray answer = ok + '\n';
    const QByteArray waitFailed = "Waiting for single object failed with error no 5\n";
    const QByteArray writeFailed = "\nWriteFile failed with error 5.\n";
    const QStringList write = {"CreateEventW", "WriteFile"};
    const QStringList waitAndRead = {"WaitCommEvent", "WaitForSingleObject", "ReadFile"};
    const QStringList wait = QStringList{"CreateEventW"} + waitAndRead;
    const QStringList end = {"CloseHandle"};
    const QStringList secondCommand = write + wait + end;
    const QStringList path = {openedLines.first()};

    // Nothing more is done, the port is not closed.
    const QStringList none;
    QTest::newRow("CreateFileW") << "CreateFileW" << 1 << false << QByteArray() << none
                                 << path + QStringList{"CreateFile failed with error  5"}
                                 << QByteArray() << "";
    QTest::newRow("GetCommState") << "GetCommState" << 1 << false << QByteArray() << none
                                  << path + QStringList{"GetCommState failed with error 5"}
                                  << QByteArray() << "1 port";
    QTest::newRow("SetCommState") << "SetCommState" << 1 << false << QByteArray() << none
                                  << path + QStringList{"SetCommState failed with error 5"}
                                  << QByteArray() << "1 port";
    QTest::newRow("SetCommTimeouts")
        << "SetCommTimeouts" << 1 << false << QByteArray() << none
        << openedLines + QStringList{"Error setting time-outs 5"} << QByteArray() << "1 port";
    // True without a command sent, and the port stays open.
    QTest::newRow("SetCommMask") << "SetCommMask" << 1 << true << QByteArray() << none
                                 << openedLines + QStringList{"SetCommMask failed with error 5"}
                                 << QByteArray() << "1 port";
    // From here on nothing stops the sequence.
    const auto row = [](const char *name, const char *operation, int call, const QByteArray &sent,
                        const QStringList &following, const QByteArray &printed,
                        const char *leftOpen) {
        QTest::newRow(name) << operation << call << true << sent << following << openedLines
                            << printed << leftOpen;
    };
    row("event of the first write", "CreateEventW", 1, second, wait + secondCommand,
        answer + written + answer, "3 events");
    row("event of the first wait", "CreateEventW", 2, both, secondCommand,
        written + written + answer, "3 events");
    row("event of the second write", "CreateEventW", 3, first, wait + end,
        written + answer + answer, "3 events");
    row("event of the second wait", "CreateEventW", 4, both, end, written + answer + written,
        "3 events");
    row("first write", "WriteFile", 1, second, wait + secondCommand,
        writeFailed + answer + written + answer, "4 events");
    row("second write", "WriteFile", 2, first, wait + end, written + answer + writeFailed + answer,
        "4 events");
    row("first wait", "WaitForSingleObject", 1, both, secondCommand,
        written + waitFailed + written + answer, "4 events");
    row("second wait", "WaitForSingleObject", 2, both, end, written + answer + written + waitFailed,
        "4 events");
    row("WaitCommEvent", "WaitCommEvent", 1, both, waitAndRead.mid(1) + secondCommand,
        written + answer + written + answer, "4 events");
    row("ReadFile", "ReadFile", 1, both, waitAndRead + secondCommand,
        written + answer + written + answer, "4 events");
    row("CloseHandle", "CloseHandle", 1, both, none, written + answer + written + answer,
        "1 port, 4 events");
}

void ApnConfigurationTest::operationFails()
{
    QFETCH(const QString, operation);
    QFETCH(const int, call);
    QFETCH(const bool, result);
    QFETCH(const QByteArray, sent);
    QFETCH(const QStringList, following);
    QFETCH(const QStringList, lines);
    QFETCH(const QByteArray, printed);
    QFETCH(const QString, leftOpen);
    Bench<> bench;
    bench.machine.chunks = {ok, ok};
    bench.fail(operation, 5, call);
    const Outcome outcome = configure("web");
    QCOMPARE(outcome.result, result);
    QCOMPARE(bench.injector.firedFaults(), 1);
    QCOMPARE(bench.machine.written, sent);
    const QStringList operations = bench.injector.operations();
    const auto upToFailure = operations.size() - following.size();
    QCOMPARE(QStringList(operations.mid(upToFailure)), following);
    QCOMPARE(operations.at(upToFailure - 1), operation);
    QCOMPARE(QStringList(operations.mid(0, upToFailure)).count(operation), call);
    QCOMPARE(bench.log.lines(), lines);
    QCOMPARE(outcome.printed, printed);
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
