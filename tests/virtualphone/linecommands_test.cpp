#include "tests/virtualphone/commandbench.h"

#include <QTest>

using namespace virtualphone;

/// The line between the PC and the modem, by V.250.
class LineCommandsTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void flags();
    void zEndsTheConnectionAndFDoesNot();
    void everySettingIsReset_data();
    void everySettingIsReset();
    void factoryEchoIsKept();
    void carrierDetectFollowsTheConnection();
    void framesResults();
    void framesErrors();
    void framesTexts();
    void registersNameTheCharacters();
};

void LineCommandsTest::answers_data()
{
    CommandRows rows;
    rows.section("V.250 5.2.1");
    rows.row("AT", "OK");
    rows.row("at", "OK");
    rows.row("AT E0 V1", "OK");
    rows.section("V.250 5.3.1");
    rows.row("ATE0V1Q0", "OK");
    rows.row("ATXYZ", "ERROR");
    rows.row("AT&", "ERROR");
    rows.row("AT&G", "ERROR");
    rows.row("ATQ0 V1 E1 S0=0 &C1 &D2 +FCLASS=0", "OK");
    rows.section("V.250 5.4.1");
    rows.row("AT+", "ERROR");
    rows.row("AT+UNKNOWN", "ERROR");
    rows.row("AT+CSQ;+CREG?", "+CSQ: 21,99|+CREG: 0,1|OK");
    rows.row("ATE0+CSQ;I", "+CSQ: 21,99|Virtual Phone GPRS modem|OK");
    rows.row("at + c s q", "+CSQ: 21,99|OK");
    rows.section("V.250 6.2.4");
    rows.row("ATE", "OK");
    rows.row("ATE0", "OK");
    rows.row("ATE1", "OK");
    rows.row("ATE2", "ERROR");
    rows.section("V.250 6.2.5");
    rows.row("ATQ0", "OK");
    rows.row("ATQ1", "");
    rows.row("ATQ2", "ERROR");
    rows.section("V.250 6.2.6");
    rows.row("ATV0", "0");
    rows.row("ATV1", "OK");
    rows.row("ATV7", "ERROR");
    rows.row({"ATV0"}, "ATV7", "4");
    rows.section("V.250 6.2.7");
    rows.row("ATX", "OK");
    rows.row("ATX4", "OK");
    rows.row("ATX5", "ERROR");
    rows.row({"AT+CGDCONT=1,\"IP\",\"internet\""}, "ATX0D*99#", "CONNECT");
    rows.row({"AT+CGDCONT=1,\"IP\",\"internet\""}, "ATX4D*99#", "CONNECT 115200");
    rows.row({"AT+CGDCONT=1,\"IP\",\"internet\"", "AT+IPR=57600"}, "ATX1D*99#", "CONNECT 57600");
    rows.section("V.250 6.2.8");
    rows.row("AT&C", "OK");
    rows.row("AT&C1", "OK");
    rows.row("AT&C2", "ERROR");
    rows.section("V.250 6.2.9");
    rows.row("AT&D0", "OK");
    rows.row("AT&D2", "OK");
    rows.row("AT&D3", "ERROR");
    rows.section("V.250 6.2.10");
    rows.row("AT+IPR?", "+IPR: 0|OK");
    rows.row({"AT+IPR=9600"}, "AT+IPR?", "+IPR: 9600|OK");
    rows.row("AT+IPR=?", "+IPR: (0,1200,2400,4800,9600,19200,38400,57600,115200),()|OK");
    rows.row("AT+IPR=1234", "ERROR");
    rows.row("AT+IPR=", "ERROR");
    rows.row("AT+IPR", "ERROR");
    rows.section("V.250 6.2.12");
    rows.row("AT+IFC?", "+IFC: 2,2|OK");
    rows.row({"AT+IFC=0,1"}, "AT+IFC?", "+IFC: 0,1|OK");
    rows.row({"AT+IFC=0"}, "AT+IFC?", "+IFC: 0,2|OK");
    rows.row("AT+IFC=?", "+IFC: (0-2),(0-2)|OK");
    rows.row("AT+IFC=3", "ERROR");
    rows.row("AT+IFC=2,3", "ERROR");
    rows.row("AT+IFC=2,2,2", "ERROR");
    rows.row("AT+IFC=\"2\"", "ERROR");
    rows.section("V.250 6.1.1");
    rows.row("ATZ", "OK");
    rows.row("ATZ0", "OK");
    rows.row("ATZ1", "ERROR");
    rows.section("V.250 6.1.2");
    rows.row("AT&F", "OK");
    rows.row("at&f0", "OK");
    rows.row("AT&F1", "ERROR");
    rows.section("V.250 5.3.2");
    rows.row("ATS3?", "013|OK");
    rows.row("ATS0?S7?", "000|060|OK");
    rows.row({"ATS0=2S7=30"}, "ATS0?S7?", "002|030|OK");
    rows.row({"ATS8=5"}, "ATS8=", "OK");
    rows.row("ATS", "ERROR");
    rows.row("ATS3", "ERROR");
    rows.row("ATS1?", "ERROR"); // not among V.250's
    rows.row("ATS99?", "ERROR");
    rows.row("ATS99999999999?", "ERROR");
    rows.row("ATS0=256", "ERROR");
    rows.section("V.250 6.2.1");
    rows.row("ATS3=128", "ERROR");
    rows.section("V.250 6.3.9");
    rows.row("ATS6=1", "ERROR");
    rows.row("ATS6=10", "OK");
    rows.section("V.250 6.3.10");
    rows.row("ATS7=0", "ERROR");
    rows.section("V.250 6.3.12");
    rows.row("ATS10=255", "ERROR");
    rows.row("ATS10=254", "OK");
    rows.section("in no standard");
    rows.row("AT&V", "E1 V1 Q0 X0 &C1 &D2 S0=0 S3=13 S4=10 S5=8 S6=2 S7=60 S8=2 S10=1|OK");
    rows.row("ATE0X3&D1&V", "E0 V1 Q0 X3 &C1 &D1 S0=0 S3=13 S4=10 S5=8 S6=2 S7=60 S8=2 S10=1|OK");
    rows.row("AT&V1", "ERROR");
}

void LineCommandsTest::answers()
{
    CommandBench bench;
    checkRow(bench);
}

void LineCommandsTest::flags()
{
    CommandBench bench;
    bench.say("ATE0V0Q1");
    QVERIFY(!bench.modem.settings.echo);
    QVERIFY(!bench.modem.settings.verbose);
    QVERIFY(bench.modem.settings.quiet);
    bench.say("ATE1V1Q0");
    QVERIFY(bench.modem.settings.echo);
    QVERIFY(bench.modem.settings.verbose);
    QVERIFY(!bench.modem.settings.quiet);
}

void LineCommandsTest::zEndsTheConnectionAndFDoesNot()
{
    for (const QByteArray line : {"ATZ", "AT&F"}) {
        CommandBench bench;
        bench.modem.contexts[1] = {"IP", "internet", {}};
        QCOMPARE(bench.say("ATD*99#"), QByteArray("CONNECT"));
        QCOMPARE(bench.say(line), QByteArray("OK"));
        QCOMPARE(bench.modem.connected, line == "AT&F");
        QCOMPARE(bench.modem.contexts.size(), std::size_t(1));
    }
}

void LineCommandsTest::everySettingIsReset_data()
{
    QTest::addColumn<QByteArray>("setting");
    QTest::addColumn<QByteArray>("question");
    const auto row = [](const char *setting, const char *question) {
        QTest::newRow(setting) << QByteArray(setting) << QByteArray(question);
    };
    row("ATE0V0X4&C0&D0S0=3S7=9", "ATV1&V");
    row("AT+IPR=9600", "AT+IPR?");
    row("AT+IFC=0,0", "AT+IFC?");
    row("AT+CMEE=2", "AT+CMEE?");
    row("AT+CREG=2", "AT+CREG?");
    row("AT+CGREG=1", "AT+CGREG?");
    row("AT+COPS=3,2", "AT+COPS?");
    row("AT+CMGF=1", "AT+CMGF?");
    row("AT+CSCS=\"IRA\"", "AT+CSCS?");
}

void LineCommandsTest::everySettingIsReset()
{
    QFETCH(QByteArray, setting);
    QFETCH(QByteArray, question);
    for (const QByteArray reset : {"ATZ", "AT&F", "AT+CFUN=1,1"}) {
        CommandBench bench;
        const QByteArray before = bench.say(question);
        bench.say(setting);
        QVERIFY(setting.startsWith("ATE0V0") || bench.say(question) != before);
        bench.say(setting);
        bench.say(reset);
        QCOMPARE(bench.say(question), before);
    }
}

void LineCommandsTest::factoryEchoIsKept()
{
    for (const QByteArray line : {"ATZ", "AT&F"}) {
        CommandBench bench;
        bench.modem.factoryEcho = false;
        bench.say(line);
        QVERIFY(!bench.modem.settings.echo);
    }
}

void LineCommandsTest::carrierDetectFollowsTheConnection()
{
    CommandBench bench;
    bench.modem.contexts[1] = {"IP", "internet", {}};
    QVERIFY(!isCarrierOn(bench.modem));
    bench.say("ATD*99#");
    QVERIFY(isCarrierOn(bench.modem));
    bench.say("ATH");
    QVERIFY(!isCarrierOn(bench.modem));
    bench.say("AT&C0");
    QVERIFY(isCarrierOn(bench.modem));
}

void LineCommandsTest::framesResults()
{
    ModemSettings settings;
    QCOMPARE(formatResult(ResultCode::Ok, settings), QByteArray("\r\nOK\r\n"));
    QCOMPARE(formatResult(ResultCode::Error, settings), QByteArray("\r\nERROR\r\n"));
    QCOMPARE(formatResult(ResultCode::Connect, settings), QByteArray("\r\nCONNECT\r\n"));
    QCOMPARE(formatResult(ResultCode::NoCarrier, settings), QByteArray("\r\nNO CARRIER\r\n"));
    QCOMPARE(formatUnsolicited("+CREG: 1", settings), QByteArray("\r\n+CREG: 1\r\n"));
    settings.verbose = false;
    QCOMPARE(formatResult(ResultCode::Ok, settings), QByteArray("0\r"));
    QCOMPARE(formatResult(ResultCode::Connect, settings), QByteArray("1\r"));
    QCOMPARE(formatResult(ResultCode::NoCarrier, settings), QByteArray("3\r"));
    QCOMPARE(formatResult(ResultCode::Error, settings), QByteArray("4\r"));
    settings.quiet = true;
    QCOMPARE(formatResult(ResultCode::Error, settings), QByteArray());
    QCOMPARE(formatUnsolicited("+CREG: 1", settings), QByteArray());
}

void LineCommandsTest::framesErrors()
{
    ModemSettings settings;
    QCOMPARE(formatResult(PhoneError::PinRequired, settings), QByteArray("\r\nERROR\r\n"));
    settings.errorForm = 1;
    QCOMPARE(formatResult(PhoneError::PinRequired, settings), QByteArray("\r\n+CME ERROR: 11\r\n"));
    QCOMPARE(formatResult(PhoneError::MessagePinRequired, settings),
             QByteArray("\r\n+CMS ERROR: 311\r\n"));
    QCOMPARE(formatResult(ResultCode::Error, settings), QByteArray("\r\nERROR\r\n"));
    settings.verbose = false;
    QCOMPARE(formatResult(PhoneError::PinRequired, settings), QByteArray("+CME ERROR: 11\r"));
    settings.verbose = true;
    settings.errorForm = 2;
    const QList<QPair<PhoneError, QByteArray>> all{
        {PhoneError::NotAllowed, "+CME ERROR: operation not allowed"},
        {PhoneError::CardMissing, "+CME ERROR: SIM not inserted"},
        {PhoneError::PinRequired, "+CME ERROR: SIM PIN required"},
        {PhoneError::PukRequired, "+CME ERROR: SIM PUK required"},
        {PhoneError::CardFailure, "+CME ERROR: SIM failure"},
        {PhoneError::IncorrectPassword, "+CME ERROR: incorrect password"},
        {PhoneError::NoNetworkService, "+CME ERROR: no network service"},
        {PhoneError::NetworkNotAllowed, "+CME ERROR: network not allowed - emergency calls only"},
        {PhoneError::NotSubscribed, "+CME ERROR: requested service option not subscribed"},
        {PhoneError::MessageCardMissing, "+CMS ERROR: SIM not inserted"},
        {PhoneError::MessagePukRequired, "+CMS ERROR: SIM PUK required"},
    };
    for (const auto &[error, text] : all)
        QCOMPARE(formatResult(error, settings), "\r\n" + text + "\r\n");
}

void LineCommandsTest::framesTexts()
{
    ModemSettings settings;
    QCOMPARE(formatText("a", settings), QByteArray("\r\na\r\n"));
    settings.verbose = false;
    QCOMPARE(formatText("a", settings), QByteArray("a\r\n"));
}

// V.250 6.2.1 and 6.2.2
void LineCommandsTest::registersNameTheCharacters()
{
    CommandBench bench;
    bench.say("ATS3=94S4=36");
    QCOMPARE(formatText("a\r\nb", bench.modem.settings), QByteArray("^$a^$b^$"));
    QCOMPARE(formatResult(ResultCode::Ok, bench.modem.settings), QByteArray("^$OK^$"));
    bench.modem.settings.verbose = false;
    QCOMPARE(formatResult(ResultCode::Ok, bench.modem.settings), QByteArray("0^"));
}

QTEST_GUILESS_MAIN(LineCommandsTest)
#include "linecommands_test.moc"
