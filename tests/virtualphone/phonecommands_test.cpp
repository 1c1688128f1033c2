#include "tests/virtualphone/commandbench.h"

#include <QDateTime>
#include <QTest>

using namespace virtualphone;

/// The phone and its card, by 27.007 and V.250; the store of messages, by 27.005.
class PhoneCommandsTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void cardThatAsks_data();
    void cardThatAsks();
    void threeWrongPinsAndTenWrongPuks();
    void lockedCardAsksAtTheNextStart();
    void clockRuns();
    void everyCommandIsListed();
};

void PhoneCommandsTest::answers_data()
{
    CommandRows rows;
    rows.section("V.250 6.1.3");
    rows.row("ATI", "Virtual Phone GPRS modem|OK");
    rows.row("ATI3", "Virtual Phone GPRS modem|OK");
    rows.row("ATI99999999999", "ERROR");
    rows.section("27.007 5.1");
    rows.row("AT+CGMI", "Virtual Phone|OK");
    rows.row("AT+CGMI=?", "OK");
    rows.row("AT+CGMI?", "ERROR");
    rows.section("27.007 5.2");
    rows.row("AT+CGMM", "GPRS modem|OK");
    rows.row("AT+CGMM=?", "OK");
    rows.section("27.007 5.3");
    rows.row("AT+CGMR", "1.0|OK");
    rows.row("AT+CGMR=?", "OK");
    rows.section("27.007 5.4");
    rows.row("AT+CGSN", "000000000000000|OK");
    rows.row("AT+CGSN=?", "OK");
    rows.section("V.250 6.1.4");
    rows.row("AT+GMI", "Virtual Phone|OK");
    rows.section("V.250 6.1.5");
    rows.row("AT+GMM", "GPRS modem|OK");
    rows.section("V.250 6.1.6");
    rows.row("AT+GMR", "1.0|OK");
    rows.section("V.250 6.1.7");
    rows.row("AT+GSN", "000000000000000|OK");
    rows.row("AT+GSN=?", "OK");
    rows.section("V.250 6.1.9");
    rows.row("AT+GCAP", "+GCAP: +CGSM|OK");
    rows.row("AT+GCAP=?", "OK");
    rows.section("27.007 5.5");
    rows.row("AT+CSCS?", "+CSCS: \"GSM\"|OK");
    rows.row({"AT+CSCS=\"ira\""}, "AT+CSCS?", "+CSCS: \"IRA\"|OK");
    rows.row("AT+CSCS=?", "+CSCS: (\"GSM\",\"IRA\")|OK");
    rows.row("AT+CSCS=\"UCS2\"", "ERROR");
    rows.row("AT+CSCS=\"GSM\",1", "ERROR");
    rows.section("27.007 5.6");
    rows.row("AT+CIMI", "001010123456789|OK");
    rows.row("AT+CIMI=?", "OK");
    rows.section("27.007 7.1");
    rows.row("AT+CNUM", "+CNUM: \"\",\"+10005550100\",145|OK");
    rows.row("AT+CNUM=?", "OK");
    rows.section("27.007 8.1");
    rows.row("AT+CPAS", "+CPAS: 0|OK");
    rows.row("AT+CPAS=?", "+CPAS: (0,4)|OK");
    rows.row({"AT+CGDCONT=1,\"IP\",\"internet\"", "ATD*99#"}, "AT+CPAS", "+CPAS: 4|OK");
    rows.section("27.007 8.2");
    rows.row("AT+CFUN?", "+CFUN: 1|OK");
    rows.row("AT+CFUN=?", "+CFUN: (0,1,4),(0,1)|OK");
    rows.row({"AT+CFUN=4"}, "AT+CFUN?;+CREG?;+CGATT?;+CSQ",
             "+CFUN: 4|+CREG: 0,0|+CGATT: 0|+CSQ: 99,99|OK");
    rows.row({"AT+CFUN=0", "AT+CFUN=1"}, "AT+CREG?;+CGATT?", "+CREG: 0,1|+CGATT: 1|OK");
    rows.row("AT+CFUN=1,0", "OK");
    rows.row("AT+CFUN=2", "ERROR");
    rows.row("AT+CFUN=1,2", "ERROR");
    rows.row("AT+CFUN", "ERROR");
    rows.section("27.007 8.3");
    rows.row("AT+CPIN?", "+CPIN: READY|OK");
    rows.row("AT+CPIN=?", "OK");
    rows.row({"AT+CMEE=1"}, "AT+CPIN=\"1234\"", "+CME ERROR: 3");
    rows.row("AT+CPIN=\"1\",\"2\",\"3\"", "ERROR");
    rows.section("27.007 8.4");
    rows.row("AT+CBC", "+CBC: 1,85|OK");
    rows.row("AT+CBC=?", "+CBC: (0-3),(0-100)|OK");
    rows.section("27.007 8.15");
    rows.row("AT+CCLK=?", "OK");
    rows.row("AT+CCLK=\"26/11/22,01:02:03+04\"", "OK");
    rows.row("AT+CCLK=\"26/11/22,01:02:03-48\"", "OK");
    rows.row("AT+CCLK=\"26/11/22,01:02:03+49\"", "ERROR");
    rows.row("AT+CCLK=\"26/13/22,01:02:03+04\"", "ERROR");
    rows.row("AT+CCLK=\"26/11/22,01:02:03\"", "ERROR");
    rows.row("AT+CCLK=26/11/22", "ERROR");
    rows.section("27.007 9.1");
    rows.row("AT+CMEE?", "+CMEE: 0|OK");
    rows.row({"AT+CMEE=2"}, "AT+CMEE?", "+CMEE: 2|OK");
    rows.row("AT+CMEE=?", "+CMEE: (0-2)|OK");
    rows.row("AT+CMEE=3", "ERROR");
    rows.row("AT+CMEE=", "ERROR");
    rows.section("27.007 7.4");
    rows.row("AT+CLCK=?", "+CLCK: (\"SC\")|OK");
    rows.row("AT+CLCK=\"SC\",2", "+CLCK: 0|OK");
    rows.row("AT+CLCK=\"SC\",1,\"1234\"", "OK");
    rows.row({"AT+CLCK=\"SC\",1,\"1234\""}, "AT+CLCK=\"SC\",2", "+CLCK: 1|OK");
    rows.row({"AT+CMEE=1"}, "AT+CLCK=\"SC\",1,\"4321\"", "+CME ERROR: 16");
    rows.row("AT+CLCK=\"SC\",1", "ERROR");
    rows.row("AT+CLCK=\"SC\",3", "ERROR");
    rows.row("AT+CLCK=\"AO\",2", "ERROR");
    rows.row("AT+CLCK=\"SC\"", "ERROR");
    rows.section("27.005 3.2.2");
    rows.row("AT+CPMS=?", "+CPMS: (\"SM\"),(\"SM\"),(\"SM\")|OK");
    rows.row("AT+CPMS?", "+CPMS: \"SM\",0,10,\"SM\",0,10,\"SM\",0,10|OK");
    rows.row("AT+CPMS=\"SM\",\"SM\"", "+CPMS: 0,10,0,10,0,10|OK");
    rows.row("AT+CPMS=\"ME\"", "ERROR");
    rows.section("27.005 3.2.3");
    rows.row("AT+CMGF?", "+CMGF: 0|OK");
    rows.row({"AT+CMGF=1"}, "AT+CMGF?", "+CMGF: 1|OK");
    rows.row("AT+CMGF=?", "+CMGF: (0,1)|OK");
    rows.row("AT+CMGF=2", "ERROR");
    rows.section("27.005 3.3.1");
    rows.row("AT+CSCA?", "+CSCA: \"+10005550101\",145|OK");
    rows.row({"AT+CSCA=\"12345\""}, "AT+CSCA?", "+CSCA: \"12345\",129|OK");
    rows.row({"AT+CSCA=\"+12345\",145"}, "AT+CSCA?", "+CSCA: \"+12345\",145|OK");
    rows.row("AT+CSCA=?", "OK");
    rows.row("AT+CSCA=\"\"", "ERROR");
    rows.row("AT+CSCA=\"12a\"", "ERROR");
    rows.row("AT+CSCA=\"12\",256", "ERROR");
    rows.section("27.007 8.37");
    rows.row("AT+CLAC=?", "OK");
}

void PhoneCommandsTest::answers()
{
    CommandBench bench;
    checkRow(bench);
}

void PhoneCommandsTest::cardThatAsks_data()
{
    QTest::addColumn<QString>("card");
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("answer");
    const auto row = [](const char *card, const char *line, const char *answer) {
        QTest::addRow("27.007 8.3 %s: %s", card, line)
            << QString(card) << QByteArray(line) << QByteArray(answer);
    };
    row("pin", "AT+CPIN?", "+CPIN: SIM PIN|OK");
    row("pin", "AT+CPIN=\"1234\";+CPIN?;+CREG?", "+CPIN: READY|+CREG: 0,1|OK");
    row("pin", "AT+CPIN=1234", "OK"); // dial scripts leave the quotes out
    row("pin", "AT+CPIN=\"4321\"", "+CME ERROR: incorrect password");
    row("pin", "AT+CIMI", "+CME ERROR: SIM PIN required");
    row("pin", "AT+COPS?", "+CME ERROR: SIM PIN required");
    row("pin", "AT+CLCK=\"SC\",2", "+CME ERROR: SIM PIN required");
    row("pin", "AT+CNUM", "+CME ERROR: SIM PIN required");
    row("pin", "AT+CPMS?", "+CMS ERROR: SIM PIN required");
    row("pin", "AT+CREG?;+CGREG?;+CGATT?", "+CREG: 0,0|+CGREG: 0,0|+CGATT: 0|OK");
    row("pin", "ATD*99#", "+CME ERROR: SIM PIN required");
    row("pin", "AT+CGSN", "000000000000000|OK");
    row("puk", "AT+CPIN?", "+CPIN: SIM PUK|OK");
    row("puk", "AT+CPIN=\"1234\"", "+CME ERROR: SIM PUK required");
    row("puk", "AT+CPIN=\"12345678\",\"4321\";+CPIN?", "+CPIN: READY|OK");
    row("puk", "AT+CPIN=\"12345678\",\"43\"", "+CME ERROR: incorrect password");
    row("puk", "AT+CPIN=\"87654321\",\"4321\"", "+CME ERROR: incorrect password");
    row("puk", "AT+CSCA?", "+CMS ERROR: SIM PUK required");
    row("none", "AT+CPIN?", "+CME ERROR: SIM not inserted");
    row("none", "AT+CPIN=\"1234\"", "+CME ERROR: SIM not inserted");
    row("none", "AT+CIMI", "+CME ERROR: SIM not inserted");
    row("none", "AT+COPS=?", "+CME ERROR: SIM not inserted");
    row("none", "AT+CPMS?", "+CMS ERROR: SIM not inserted");
    row("none", "ATD*99#", "+CME ERROR: SIM not inserted");
    row("ready", "AT+CPIN?", "+CPIN: READY|OK");
}

void PhoneCommandsTest::cardThatAsks()
{
    QFETCH(QString, card);
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, answer);
    CommandBench bench;
    SimCard::State state = SimCard::State::Dead;
    QVERIFY(readCardState(card, &state));
    bench.modem.card.insert(state);
    bench.say("AT+CMEE=2");
    QCOMPARE(bench.say(line), answer);
}

void PhoneCommandsTest::threeWrongPinsAndTenWrongPuks()
{
    CommandBench bench;
    bench.modem.card.insert(SimCard::State::PinRequired);
    bench.say("AT+CPIN=\"0000\"");
    bench.say("AT+CPIN=\"0000\"");
    // A right one gives all three tries back.
    QCOMPARE(bench.say("AT+CPIN=\"1234\""), QByteArray("OK"));
    for (int i = 0; i < 3; ++i)
        QCOMPARE(bench.say("AT+CLCK=\"SC\",0,\"0000\""), QByteArray("ERROR"));
    QCOMPARE(bench.say("AT+CPIN?"), QByteArray("+CPIN: SIM PUK|OK"));
    for (int i = 0; i < 9; ++i)
        bench.say("AT+CPIN=\"00000000\",\"1234\"");
    QCOMPARE(bench.say("AT+CPIN?"), QByteArray("+CPIN: SIM PUK|OK"));
    bench.say("AT+CPIN=\"00000000\",\"1234\"");
    bench.say("AT+CMEE=1");
    QCOMPARE(bench.say("AT+CPIN?"), QByteArray("+CME ERROR: 13"));
    QCOMPARE(bench.say("AT+CPIN=\"12345678\",\"1234\""), QByteArray("+CME ERROR: 13"));
}

void PhoneCommandsTest::lockedCardAsksAtTheNextStart()
{
    CommandBench bench;
    QCOMPARE(bench.say("AT+CFUN=1,1;+CPIN?"), QByteArray("+CPIN: READY|OK"));
    bench.say("AT+CLCK=\"SC\",1,\"1234\"");
    QCOMPARE(bench.say("AT+CPIN?"), QByteArray("+CPIN: READY|OK"));
    QCOMPARE(bench.say("AT+CFUN=1,1;+CPIN?"), QByteArray("+CPIN: SIM PIN|OK"));
    bench.say("AT+CPIN=\"1234\"");
    bench.say("AT+CLCK=\"SC\",0,\"1234\"");
    QCOMPARE(bench.say("AT+CFUN=1,1;+CPIN?"), QByteArray("+CPIN: READY|OK"));
}

void PhoneCommandsTest::clockRuns()
{
    CommandBench bench;
    const auto shown = [&bench] {
        const QByteArray answer = bench.say("AT+CCLK?");
        return QDateTime::fromString("20" + QString::fromLatin1(answer.mid(8, 17)),
                                     "yyyy/MM/dd,hh:mm:ss");
    };
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVERIFY(qAbs(shown().secsTo(QDateTime(now.date(), now.time()))) <= 2);
    bench.say("AT+CCLK=\"06/12/31,23:59:58-08\"");
    QVERIFY(bench.say("AT+CCLK?").endsWith("-08\"|OK"));
    QVERIFY(QDateTime({2006, 12, 31}, {23, 59, 58}).secsTo(shown()) <= 2);
}

void PhoneCommandsTest::everyCommandIsListed()
{
    CommandBench bench;
    QByteArray answer = bench.say("AT+CLAC");
    QVERIFY(answer.endsWith("|OK"));
    answer.chop(3);
    const QList<QByteArray> lines = answer.replace("\r\n", "\n").split('\n');
    for (const char *command :
         {"ATE",     "ATQ",     "ATV",     "ATX",        "AT&C",     "AT&D",       "AT&F",
          "ATZ",     "AT&V",    "ATD",     "ATH",        "ATO",      "ATI",        "AT+GMI",
          "AT+GCAP", "AT+CGMI", "AT+CIMI", "AT+CPIN",    "AT+CMEE",  "AT+CREG",    "AT+CGREG",
          "AT+COPS", "AT+CSQ",  "AT+CFUN", "AT+CGDCONT", "AT+CGACT", "AT+CGPADDR", "AT+CGATT",
          "AT+CSCS", "AT+CBC",  "AT+CCLK", "AT+CSCA",    "AT+CMGF",  "AT+CPMS",    "AT+CPAS",
          "AT+CLCK", "AT+CNUM", "AT+CLAC", "AT+IPR",     "AT+IFC",   "AT+FCLASS"})
        QVERIFY2(lines.contains(command), command);
    // Each of them is there, in one form or another.
    bench.modem.contexts[1] = {"IP", "internet", {}};
    for (const QByteArray &line : lines) {
        const bool isKnown = bench.say(line).endsWith("OK") ||
                             bench.say(line + '?').endsWith("OK") ||
                             bench.say(line + "=?").endsWith("OK") || line == "ATV" ||
                             line == "ATD" || line == "ATA" || line == "ATO";
        QVERIFY2(isKnown, line.constData());
        bench.modem = {};
    }
}

QTEST_GUILESS_MAIN(PhoneCommandsTest)
#include "phonecommands_test.moc"
