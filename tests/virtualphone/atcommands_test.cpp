#include "virtualphone/atcommands.h"
#include "virtualphone/phonenetwork.h"

#include <QTest>

using namespace virtualphone;

Q_DECLARE_METATYPE(ResultCode)

class AtCommandsTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void contextIsDefined_data();
    void contextIsDefined();
    void malformedContextChangesNothing_data();
    void malformedContextChangesNothing();
    void contextsAreListed();
    void contextIsUndefined();
    void dials_data();
    void dials();
    void dialsAnotherContext();
    void dialAttaches();
    void networkComparesNamesWithoutCase();
    void detachingDisconnects();
    void settings();
    void firstFailureEndsTheLine();
    void resets();
    void goesBackToData();
    void framesResults();
    void framesTexts();

private:
    CommandAnswer execute(const QByteArray &line)
    {
        return executeCommandLine(line, m_network, true, &m_modem);
    }
    void reset() { m_modem = {}; }

    PhoneNetwork m_network;
    ModemState m_modem;
};

void AtCommandsTest::answers_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QList<QByteArray>>("texts");
    QTest::addColumn<ResultCode>("result");
    const auto row = [](const char *line, const QList<QByteArray> &texts,
                        ResultCode result = ResultCode::Ok) {
        QTest::newRow(line) << QByteArray(line) << texts << result;
    };
    row("AT", {});
    row("at", {});
    row("ATE", {});
    row("ATE0", {});
    row("ATE1", {});
    row("ATE2", {}, ResultCode::Error);
    row("ATV0", {});
    row("ATV1", {});
    row("ATV7", {}, ResultCode::Error);
    row("ATQ0", {});
    row("ATQ1", {});
    row("ATQ2", {}, ResultCode::Error);
    row("ATZ", {});
    row("ATZ0", {});
    row("ATZ1", {}, ResultCode::Error);
    row("AT&F", {});
    row("at&f0", {});
    row("AT&F1", {}, ResultCode::Error);
    row("AT&", {}, ResultCode::Error);
    row("AT&G", {}, ResultCode::Error);
    row("ATH", {});
    row("ATH0", {});
    row("ATH1", {}, ResultCode::Error);
    row("ATO", {}, ResultCode::NoCarrier);
    row("ATO9", {}, ResultCode::Error);
    row("ATI", {"Virtual Phone GPRS modem"});
    row("ATI3", {"Virtual Phone GPRS modem"});
    row("AT+CGMI", {"Virtual Phone"});
    row("AT+CGMI=?", {});
    row("AT+CGMI?", {}, ResultCode::Error);
    row("AT+CGMM", {"GPRS modem"});
    row("AT+CGMM=?", {});
    row("AT+CGSN", {"000000000000000"});
    row("AT+CGSN=?", {});
    row("AT+CSQ", {"+CSQ: 21,99"});
    row("AT+CSQ=?", {"+CSQ: (0-31,99),(99)"});
    row("AT+CSQ?", {}, ResultCode::Error);
    row("AT+CREG?", {"+CREG: 0,1"});
    row("AT+CREG=?", {"+CREG: (0)"});
    row("AT+CREG", {}, ResultCode::Error);
    row("AT+CREG=1", {}, ResultCode::Error);
    row("AT+CGATT?", {"+CGATT: 1"});
    row("AT+CGATT=?", {"+CGATT: (0,1)"});
    row("AT+CGATT=1", {});
    row("AT+CGATT=0", {});
    row("AT+CGATT=2", {}, ResultCode::Error);
    row("AT+CGATT=", {}, ResultCode::Error);
    row("AT+CGATT", {}, ResultCode::Error);
    row("AT+CGDCONT=?", {"+CGDCONT: (1-3),\"IP\",,,(0),(0)"});
    row("AT+CGDCONT?", {});
    row("AT+CGDCONT", {}, ResultCode::Error);
    row("AT+CGDCONT!", {}, ResultCode::Error);
    row("AT+", {}, ResultCode::Error);
    row("AT+UNKNOWN", {}, ResultCode::Error);
    row("ATXYZ", {}, ResultCode::Error);
    row("AT E0 V1", {});
    row("ATE0V1Q0", {});
    row("AT+CSQ;+CREG?", {"+CSQ: 21,99", "+CREG: 0,1"});
    row("ATE0+CSQ;I", {"+CSQ: 21,99", "Virtual Phone GPRS modem"});
    row("at + c s q", {"+CSQ: 21,99"});
}

void AtCommandsTest::answers()
{
    QFETCH(QByteArray, line);
    QFETCH(QList<QByteArray>, texts);
    QFETCH(ResultCode, result);
    reset();
    const CommandAnswer answer = execute(line);
    QCOMPARE(answer.informationTexts, texts);
    QCOMPARE(answer.result, result);
}

void AtCommandsTest::contextIsDefined_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<int>("id");
    QTest::addColumn<QByteArray>("apn");
    QTest::newRow("plain") << QByteArray("AT+CGDCONT=1,\"IP\",\"gpinternet\"") << 1
                           << QByteArray("gpinternet");
    QTest::newRow("case kept") << QByteArray("at+cgdcont=1,\"ip\",\"GpInternet\"") << 1
                               << QByteArray("GpInternet");
    QTest::newRow("last") << QByteArray("AT+CGDCONT=3,\"IP\",\"a\"") << 3 << QByteArray("a");
    QTest::newRow("blanks") << QByteArray("AT+CGDCONT= 1, \"IP\", \"a b\"") << 1
                            << QByteArray("a b");
    QTest::newRow("separator in it")
        << QByteArray("AT+CGDCONT=1,\"IP\",\"a;b,c\"") << 1 << QByteArray("a;b,c");
    QTest::newRow("empty") << QByteArray("AT+CGDCONT=1,\"IP\",\"\"") << 1 << QByteArray();
    QTest::newRow("left out") << QByteArray("AT+CGDCONT=1,\"IP\"") << 1 << QByteArray();
    QTest::newRow("all parameters")
        << QByteArray("AT+CGDCONT=2,\"IP\",\"a\",\"10.0.0.1\",0,0") << 2 << QByteArray("a");
    QTest::newRow("parameters left out")
        << QByteArray("AT+CGDCONT=2,\"IP\",\"a\",,,") << 2 << QByteArray("a");
    QTest::newRow("longest") << "AT+CGDCONT=1,\"IP\",\"" + QByteArray(100, 'a') + '"' << 1
                             << QByteArray(100, 'a');
}

void AtCommandsTest::contextIsDefined()
{
    QFETCH(QByteArray, line);
    QFETCH(int, id);
    QFETCH(QByteArray, apn);
    reset();
    QCOMPARE(execute(line).result, ResultCode::Ok);
    QCOMPARE(m_modem.contexts.size(), std::size_t(1));
    QCOMPARE(m_modem.contexts.at(id).type, QByteArray("IP"));
    QCOMPARE(m_modem.contexts.at(id).apn, apn);
}

void AtCommandsTest::malformedContextChangesNothing_data()
{
    QTest::addColumn<QByteArray>("parameters");
    const auto row = [](const char *name, const QByteArray &parameters) {
        QTest::newRow(name) << parameters;
    };
    row("quote in the name", "1,\"IP\",\"in\"ternet\"");
    row("two quotes in the name", "1,\"IP\",\"in\"ter\"net\"");
    row("only quotes", "1,\"IP\",\"\"\"");
    row("unclosed", "1,\"IP\",\"internet");
    row("unquoted name", "1,\"IP\",internet");
    row("unquoted type", "1,IP,\"internet\"");
    row("text after the string", "1,\"IP\",\"internet\"x");
    row("quoted number", "\"1\",\"IP\",\"internet\"");
    row("no number", ",\"IP\",\"internet\"");
    row("no digits", "one,\"IP\",\"internet\"");
    row("signed number", "+1,\"IP\",\"internet\"");
    row("context 0", "0,\"IP\",\"internet\"");
    row("context 4", "4,\"IP\",\"internet\"");
    row("huge context", "99999999999999999999,\"IP\",\"internet\"");
    row("unknown type", "1,\"X25\",\"internet\"");
    row("no type", "1,,\"internet\"");
    row("compression", "1,\"IP\",\"internet\",\"\",1,0");
    row("too many", "1,\"IP\",\"internet\",\"\",0,0,0");
    row("too long", "1,\"IP\",\"" + QByteArray(101, 'a') + '"');
    row("beyond ASCII", "1,\"IP\",\"intern\xE9t\"");
    row("control character", "1,\"IP\",\"inter\x7Fnet\"");
    row("nothing", "");
}

void AtCommandsTest::malformedContextChangesNothing()
{
    QFETCH(QByteArray, parameters);
    reset();
    execute("AT+CGDCONT=1,\"IP\",\"before\"");
    QCOMPARE(execute("AT+CGDCONT=" + parameters).result, ResultCode::Error);
    QCOMPARE(m_modem.contexts.size(), std::size_t(1));
    QCOMPARE(m_modem.contexts.at(1).apn, QByteArray("before"));
}

void AtCommandsTest::contextsAreListed()
{
    reset();
    execute("AT+CGDCONT=2,\"IP\",\"two\",\"10.0.0.2\"");
    execute("AT+CGDCONT=1,\"IP\",\"one\"");
    const QList<QByteArray> texts{"+CGDCONT: 1,\"IP\",\"one\",\"\",0,0\r\n"
                                  "+CGDCONT: 2,\"IP\",\"two\",\"10.0.0.2\",0,0"};
    QCOMPARE(execute("AT+CGDCONT?").informationTexts, texts);
}

void AtCommandsTest::contextIsUndefined()
{
    reset();
    execute("AT+CGDCONT=1,\"IP\",\"internet\"");
    QCOMPARE(execute("AT+CGDCONT=1").result, ResultCode::Ok);
    QVERIFY(m_modem.contexts.empty());
    QCOMPARE(execute("ATD*99#").result, ResultCode::Error);
}

void AtCommandsTest::dials_data()
{
    QTest::addColumn<QByteArray>("apn"); // null: no context
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<ResultCode>("result");
    const auto row = [](const char *command, const char *apn, ResultCode result) {
        QTest::addRow("%s with %s", command, apn ? apn : "no context")
            << QByteArray(apn) << QByteArray(command) << result;
    };
    for (const char *command : {"ATD*99#", "ATDT*99#", "ATDP*99#", "atdt *99#", "ATD*99***1#",
                                "ATD*99*#", "ATD*99**PPP*1#", "ATD*99**1*1#", "ATD*99*1.2.3.4#"}) {
        row(command, "internet", ResultCode::Connect);
        row(command, "wrong", ResultCode::NoCarrier);
        row(command, nullptr, ResultCode::Error);
    }
    row("ATD*99#", "blweb", ResultCode::Connect);
    row("ATD*99#", "gpinternet", ResultCode::Connect);
    row("ATD*99#", "", ResultCode::NoCarrier);
    row("ATD*99***2#", "internet", ResultCode::Error);
    for (const char *command : {"ATD", "ATD*99", "ATD123", "ATD123;", "ATD*98#", "ATD*991#",
                                "ATD*99**X25*1#", "ATD*99***x#", "ATD*99***1*1#"})
        row(command, "internet", ResultCode::NoCarrier);
}

void AtCommandsTest::dials()
{
    QFETCH(QByteArray, apn);
    QFETCH(QByteArray, command);
    QFETCH(ResultCode, result);
    reset();
    if (!apn.isNull())
        m_modem.contexts[1] = {"IP", apn, {}};
    QCOMPARE(execute(command).result, result);
    QCOMPARE(m_modem.connected, result == ResultCode::Connect);
    QCOMPARE(m_modem.dataState, result == ResultCode::Connect);
}

void AtCommandsTest::dialsAnotherContext()
{
    reset();
    m_modem.contexts[1] = {"IP", "wrong", {}};
    m_modem.contexts[2] = {"IP", "internet", {}};
    QCOMPARE(execute("ATD*99#").result, ResultCode::NoCarrier);
    QCOMPARE(execute("ATD*99***2#").result, ResultCode::Connect);
    // Back in command state the line is in use.
    m_modem.dataState = false;
    QCOMPARE(execute("ATD*99***2#").result, ResultCode::Error);
    QVERIFY(m_modem.connected);
}

void AtCommandsTest::dialAttaches()
{
    reset();
    execute("AT+CGATT=0");
    QCOMPARE(execute("AT+CGATT?").informationTexts, QList<QByteArray>{"+CGATT: 0"});
    m_modem.contexts[1] = {"IP", "internet", {}};
    QCOMPARE(execute("ATD*99#").result, ResultCode::Connect);
    QCOMPARE(execute("AT+CGATT?").informationTexts, QList<QByteArray>{"+CGATT: 1"});
}

void AtCommandsTest::networkComparesNamesWithoutCase()
{
    PhoneNetwork network;
    QVERIFY(network.acceptsApn("Internet"));
    QVERIFY(!network.acceptsApn("intern"));
    network.setAcceptedApns({"Own.Net"});
    QVERIFY(network.acceptsApn("own.net"));
    QVERIFY(!network.acceptsApn("internet"));
}

void AtCommandsTest::detachingDisconnects()
{
    reset();
    m_modem.connected = true;
    QCOMPARE(execute("AT+CGATT=0").result, ResultCode::Ok);
    QVERIFY(!m_modem.connected);
}

void AtCommandsTest::settings()
{
    reset();
    execute("ATE0V0Q1");
    QVERIFY(!m_modem.echo);
    QVERIFY(!m_modem.verbose);
    QVERIFY(m_modem.quiet);
    execute("ATE1V1Q0");
    QVERIFY(m_modem.echo);
    QVERIFY(m_modem.verbose);
    QVERIFY(!m_modem.quiet);
}

void AtCommandsTest::firstFailureEndsTheLine()
{
    reset();
    const CommandAnswer answer = execute("AT+CSQ;+NONSENSE;E0");
    QCOMPARE(answer.informationTexts, QList<QByteArray>{"+CSQ: 21,99"});
    QCOMPARE(answer.result, ResultCode::Error);
    QVERIFY(m_modem.echo);
}

void AtCommandsTest::resets()
{
    for (const QByteArray line : {"ATZ", "AT&F"}) {
        reset();
        m_modem.contexts[1] = {"IP", "internet", {}};
        m_modem.connected = true;
        m_modem.echo = false;
        m_modem.quiet = true;
        m_modem.verbose = false;
        QCOMPARE(execute(line).result, ResultCode::Ok);
        QVERIFY(m_modem.echo);
        QVERIFY(!m_modem.quiet);
        QVERIFY(m_modem.verbose);
        QCOMPARE(m_modem.connected, line == "AT&F");
        QCOMPARE(m_modem.contexts.size(), std::size_t(1));
        executeCommandLine(line, m_network, false, &m_modem);
        QVERIFY(!m_modem.echo);
    }
}

void AtCommandsTest::goesBackToData()
{
    reset();
    m_modem.connected = true;
    QCOMPARE(execute("ATO").result, ResultCode::Connect);
    QVERIFY(m_modem.dataState);
    execute("ATH");
    QVERIFY(!m_modem.connected);
    QVERIFY(!m_modem.dataState);
}

void AtCommandsTest::framesResults()
{
    ModemState modem;
    QCOMPARE(formatResultCode(ResultCode::Ok, modem), QByteArray("\r\nOK\r\n"));
    QCOMPARE(formatResultCode(ResultCode::Error, modem), QByteArray("\r\nERROR\r\n"));
    QCOMPARE(formatResultCode(ResultCode::Connect, modem), QByteArray("\r\nCONNECT\r\n"));
    QCOMPARE(formatResultCode(ResultCode::NoCarrier, modem), QByteArray("\r\nNO CARRIER\r\n"));
    modem.verbose = false;
    QCOMPARE(formatResultCode(ResultCode::Ok, modem), QByteArray("0\r"));
    QCOMPARE(formatResultCode(ResultCode::Connect, modem), QByteArray("1\r"));
    QCOMPARE(formatResultCode(ResultCode::NoCarrier, modem), QByteArray("3\r"));
    QCOMPARE(formatResultCode(ResultCode::Error, modem), QByteArray("4\r"));
    modem.quiet = true;
    QCOMPARE(formatResultCode(ResultCode::Error, modem), QByteArray());
}

void AtCommandsTest::framesTexts()
{
    ModemState modem;
    QCOMPARE(formatInformationText("a", modem), QByteArray("\r\na\r\n"));
    modem.verbose = false;
    QCOMPARE(formatInformationText("a", modem), QByteArray("a\r\n"));
}

QTEST_GUILESS_MAIN(AtCommandsTest)
#include "atcommands_test.moc"
