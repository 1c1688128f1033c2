#include "tests/virtualphone/commandbench.h"

#include <QTest>

using namespace virtualphone;

/// Packet-data contexts and connections, by 27.007 section 10 and V.250.
class PacketCommandsTest : public QObject
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
    void dialNeedsANetwork_data();
    void dialNeedsANetwork();
    void detachingDisconnects_data();
    void detachingDisconnects();
    void goesBackToData();

private:
    void reset() { m_bench = {}; }

    CommandBench m_bench;
};

void PacketCommandsTest::answers_data()
{
    const QByteArray internet = "AT+CGDCONT=1,\"IP\",\"internet\"";
    const QByteArray wrong = "AT+CGDCONT=2,\"IP\",\"wrong\"";
    const QByteArray fixed = "AT+CGDCONT=3,\"IP\",\"internet\",\"10.1.2.3\"";
    CommandRows rows;
    rows.section("27.007 10.1.1");
    rows.row("AT+CGDCONT=?", "+CGDCONT: (1-3),\"IP\",,,(0),(0)|OK");
    rows.row("AT+CGDCONT?", "OK");
    rows.row("AT+CGDCONT", "ERROR");
    rows.row("AT+CGDCONT!", "ERROR");
    rows.section("27.007 10.1.9");
    rows.row("AT+CGATT?", "+CGATT: 1|OK");
    rows.row("AT+CGATT=?", "+CGATT: (0,1)|OK");
    rows.row("AT+CGATT=1", "OK");
    rows.row("AT+CGATT=0", "OK");
    rows.row({"AT+CGATT=0"}, "AT+CGATT?;+CGREG?;+CREG?", "+CGATT: 0|+CGREG: 0,0|+CREG: 0,1|OK");
    rows.row({"AT+CFUN=4", "AT+CMEE=1"}, "AT+CGATT=1", "+CME ERROR: 30");
    rows.row("AT+CGATT=2", "ERROR");
    rows.row("AT+CGATT=", "ERROR");
    rows.row("AT+CGATT", "ERROR");
    rows.section("27.007 10.1.10");
    rows.row("AT+CGACT=?", "+CGACT: (0,1)|OK");
    rows.row("AT+CGACT?", "OK");
    rows.row({internet, wrong}, "AT+CGACT?", "+CGACT: 1,0\r\n+CGACT: 2,0|OK");
    rows.row({internet, "AT+CGACT=1,1"}, "AT+CGACT?", "+CGACT: 1,1|OK");
    rows.row({internet, fixed, "AT+CGACT=1"}, "AT+CGACT?", "+CGACT: 1,1\r\n+CGACT: 3,1|OK");
    rows.row({internet, "AT+CGACT=1,1", "AT+CGACT=0"}, "AT+CGACT?", "+CGACT: 1,0|OK");
    rows.row({wrong, "AT+CMEE=2"}, "AT+CGACT=1,2",
             "+CME ERROR: requested service option not subscribed");
    rows.row({internet, "AT+CFUN=4", "AT+CMEE=1"}, "AT+CGACT=1,1", "+CME ERROR: 30");
    rows.row("AT+CGACT=1,1", "ERROR");
    rows.row({internet}, "AT+CGACT=2,1", "ERROR");
    rows.row({internet}, "AT+CGACT=1,1,2,3,1", "ERROR");
    rows.section("27.007 10.1.14");
    rows.row({internet}, "AT+CGPADDR=1", "+CGPADDR: 1,\"\"|OK");
    rows.row({internet, "AT+CGACT=1,1"}, "AT+CGPADDR=1", "+CGPADDR: 1,\"10.0.0.2\"|OK");
    rows.row({fixed}, "AT+CGPADDR=3", "+CGPADDR: 3,\"10.1.2.3\"|OK");
    rows.row({internet, fixed}, "AT+CGPADDR", "+CGPADDR: 1,\"\"\r\n+CGPADDR: 3,\"10.1.2.3\"|OK");
    rows.row({internet, fixed}, "AT+CGPADDR=?", "+CGPADDR: (1,3)|OK");
    rows.row("AT+CGPADDR=1", "ERROR");
    rows.row("AT+CGPADDR=x", "ERROR");
    rows.section("27.007 10.1.20");
    rows.row("AT+CGREG?", "+CGREG: 0,1|OK");
    rows.row({"AT+CGREG=2"}, "AT+CGREG?", "+CGREG: 2,1,\"0001\",\"0001\"|OK");
    rows.row("AT+CGREG=?", "+CGREG: (0-2)|OK");
    rows.row("AT+CGREG=3", "ERROR");
    rows.section("V.250 6.3.2");
    rows.row("ATT", "OK");
    rows.section("V.250 6.3.3");
    rows.row("ATP", "OK");
    rows.row("ATP1", "ERROR");
    rows.section("V.250 6.3.5");
    rows.row("ATA", "NO CARRIER");
    rows.section("V.250 6.3.6");
    rows.row("ATH", "OK");
    rows.row("ATH0", "OK");
    rows.row("ATH1", "ERROR");
    rows.section("V.250 6.3.7");
    rows.row("ATO", "NO CARRIER");
    rows.row("ATO9", "ERROR");
    rows.section("V.250 6.3.13");
    rows.row("ATL3", "OK");
    rows.row("ATL4", "ERROR");
    rows.section("V.250 6.3.14");
    rows.row("ATM0L0", "OK");
    rows.row("ATM4", "ERROR");
    rows.section("27.007 C.2.1");
    rows.row("AT+FCLASS=0", "OK");
    rows.row("AT+FCLASS?", "0|OK");
    rows.row("AT+FCLASS=?", "0|OK");
    rows.row("AT+FCLASS=1", "ERROR");
}

void PacketCommandsTest::answers()
{
    reset();
    checkRow(m_bench);
}

void PacketCommandsTest::contextIsDefined_data()
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

void PacketCommandsTest::contextIsDefined()
{
    QFETCH(QByteArray, line);
    QFETCH(int, id);
    QFETCH(QByteArray, apn);
    reset();
    QCOMPARE(m_bench.say(line), QByteArray("OK"));
    QCOMPARE(m_bench.modem.contexts.size(), std::size_t(1));
    QCOMPARE(m_bench.modem.contexts.at(id).type, QByteArray("IP"));
    QCOMPARE(m_bench.modem.contexts.at(id).apn, apn);
}

void PacketCommandsTest::malformedContextChangesNothing_data()
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

void PacketCommandsTest::malformedContextChangesNothing()
{
    QFETCH(QByteArray, parameters);
    reset();
    m_bench.say("AT+CGDCONT=1,\"IP\",\"before\"");
    QCOMPARE(m_bench.say("AT+CGDCONT=" + parameters), QByteArray("ERROR"));
    QCOMPARE(m_bench.modem.contexts.size(), std::size_t(1));
    QCOMPARE(m_bench.modem.contexts.at(1).apn, QByteArray("before"));
}

void PacketCommandsTest::contextsAreListed()
{
    reset();
    m_bench.say("AT+CGDCONT=2,\"IP\",\"two\",\"10.0.0.2\"");
    m_bench.say("AT+CGDCONT=1,\"IP\",\"one\"");
    const QByteArray answer("+CGDCONT: 1,\"IP\",\"one\",\"\",0,0\r\n"
                            "+CGDCONT: 2,\"IP\",\"two\",\"10.0.0.2\",0,0|OK");
    QCOMPARE(m_bench.say("AT+CGDCONT?"), answer);
}

void PacketCommandsTest::contextIsUndefined()
{
    reset();
    m_bench.say("AT+CGDCONT=1,\"IP\",\"internet\"");
    QCOMPARE(m_bench.say("AT+CGDCONT=1"), QByteArray("OK"));
    QVERIFY(m_bench.modem.contexts.empty());
    QCOMPARE(m_bench.say("ATD*99#"), QByteArray("ERROR"));
}

void PacketCommandsTest::dials_data()
{
    QTest::addColumn<QByteArray>("apn"); // null: no context
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("result");
    const auto row = [](const char *command, const char *apn, const char *result) {
        QTest::addRow("%s with %s", command, apn ? apn : "no context")
            << QByteArray(apn) << QByteArray(command) << QByteArray(result);
    };
    for (const char *command : {"ATD*99#", "ATDT*99#", "ATDP*99#", "atdt *99#", "ATD*99***1#",
                                "ATD*99*#", "ATD*99**PPP*1#", "ATD*99**1*1#", "ATD*99*1.2.3.4#"}) {
        row(command, "internet", "CONNECT");
        row(command, "wrong", "NO CARRIER");
        row(command, nullptr, "ERROR");
    }
    row("ATD*99#", "blweb", "CONNECT");
    row("ATD*99#", "gpinternet", "CONNECT");
    row("ATD*99#", "", "NO CARRIER");
    row("ATD*99***2#", "internet", "ERROR");
    for (const char *command : {"ATD", "ATD*99", "ATD123", "ATD123;", "ATD*98#", "ATD*991#",
                                "ATD*99**X25*1#", "ATD*99***x#", "ATD*99***1*1#"})
        row(command, "internet", "NO CARRIER");
}

void PacketCommandsTest::dials()
{
    QFETCH(QByteArray, apn);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, result);
    reset();
    if (!apn.isNull())
        m_bench.modem.contexts[1] = {"IP", apn, {}};
    QCOMPARE(m_bench.say(command), result);
    QCOMPARE(m_bench.modem.connected, result == "CONNECT");
    QCOMPARE(m_bench.modem.dataState, result == "CONNECT");
}

void PacketCommandsTest::dialsAnotherContext()
{
    reset();
    m_bench.modem.contexts[1] = {"IP", "wrong", {}};
    m_bench.modem.contexts[2] = {"IP", "internet", {}};
    QCOMPARE(m_bench.say("ATD*99#"), QByteArray("NO CARRIER"));
    QCOMPARE(m_bench.say("ATD*99***2#"), QByteArray("CONNECT"));
    // Back in command state the line is in use.
    m_bench.modem.dataState = false;
    QCOMPARE(m_bench.say("ATD*99***2#"), QByteArray("ERROR"));
    QVERIFY(m_bench.modem.connected);
}

void PacketCommandsTest::dialAttaches()
{
    reset();
    m_bench.say("AT+CGATT=0");
    QCOMPARE(m_bench.say("AT+CGATT?"), QByteArray("+CGATT: 0|OK"));
    m_bench.modem.contexts[1] = {"IP", "internet", {}};
    QCOMPARE(m_bench.say("ATD*99#"), QByteArray("CONNECT"));
    QCOMPARE(m_bench.say("AT+CGATT?"), QByteArray("+CGATT: 1|OK"));
}

void PacketCommandsTest::dialNeedsANetwork_data()
{
    QTest::addColumn<QString>("registration");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("home") << "home" << QByteArray("CONNECT");
    QTest::newRow("roaming") << "roaming" << QByteArray("CONNECT");
    QTest::newRow("searching") << "searching" << QByteArray("NO CARRIER");
    QTest::newRow("denied") << "denied" << QByteArray("NO CARRIER");
    QTest::newRow("none") << "none" << QByteArray("NO CARRIER");
}

void PacketCommandsTest::dialNeedsANetwork()
{
    QFETCH(QString, registration);
    QFETCH(QByteArray, answer);
    reset();
    Registration state = Registration::Home;
    QVERIFY(readRegistration(registration, &state));
    m_bench.network.setRegistration(state);
    m_bench.modem.contexts[1] = {"IP", "internet", {}};
    QCOMPARE(m_bench.say("ATD*99#"), answer);
}

void PacketCommandsTest::detachingDisconnects_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char *line : {"AT+CGATT=0", "AT+CFUN=4", "AT+CFUN=0", "AT+CFUN=1,1", "AT+COPS=2",
                             "AT+CGACT=0,1", "AT+CGACT=0", "ATH", "ATZ"})
        QTest::newRow(line) << QByteArray(line);
}

void PacketCommandsTest::detachingDisconnects()
{
    QFETCH(QByteArray, line);
    reset();
    m_bench.modem.contexts[1] = {"IP", "internet", {}};
    QCOMPARE(m_bench.say("ATD*99#"), QByteArray("CONNECT"));
    QCOMPARE(m_bench.say("AT+CGACT?"), QByteArray("+CGACT: 1,1|OK"));
    QCOMPARE(m_bench.say(line), QByteArray("OK"));
    QVERIFY(!m_bench.modem.connected);
    QVERIFY(!m_bench.modem.dataState);
    QCOMPARE(m_bench.say("AT+CGACT?"), QByteArray("+CGACT: 1,0|OK"));
}

void PacketCommandsTest::goesBackToData()
{
    reset();
    m_bench.modem.connected = true;
    QCOMPARE(m_bench.say("ATO"), QByteArray("CONNECT"));
    QVERIFY(m_bench.modem.dataState);
    m_bench.say("ATH");
    QVERIFY(!m_bench.modem.connected);
    QVERIFY(!m_bench.modem.dataState);
}

QTEST_GUILESS_MAIN(PacketCommandsTest)
#include "packetcommands_test.moc"
