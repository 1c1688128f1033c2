#include "tests/virtualphone/commandbench.h"
#include "virtualphone/registration.h"

#include <QTest>

using namespace virtualphone;

/// Registration and operators, by 27.007; and what ends a line of commands.
class NetworkCommandsTest : public QObject
{
    Q_OBJECT

private slots:
    void answers_data();
    void answers();
    void registrationIsTold_data();
    void registrationIsTold();
    void changesAreReported();
    void changesAreReportedOnlyWhenAskedFor();
    void scanTakesTime();
    void networkComparesNamesWithoutCase();
    void firstFailureEndsTheLine();
    void anyBytesAreAnswered();
};

void NetworkCommandsTest::answers_data()
{
    CommandRows rows;
    rows.section("27.007 8.5");
    rows.row("AT+CSQ", "+CSQ: 21,99|OK");
    rows.row("AT+CSQ=?", "+CSQ: (0-31,99),(99)|OK");
    rows.row("AT+CSQ?", "ERROR");
    rows.row({"AT+COPS=2"}, "AT+CSQ", "+CSQ: 99,99|OK");
    rows.section("27.007 7.2");
    rows.row("AT+CREG?", "+CREG: 0,1|OK");
    rows.row("AT+CREG=?", "+CREG: (0-2)|OK");
    rows.row("AT+CREG", "ERROR");
    rows.row({"AT+CREG=1"}, "AT+CREG?", "+CREG: 1,1|OK");
    rows.row({"AT+CREG=2"}, "AT+CREG?", "+CREG: 2,1,\"0001\",\"0001\"|OK");
    rows.row("AT+CREG=3", "ERROR");
    rows.section("27.007 7.3");
    rows.row("AT+COPS?", "+COPS: 0,0,\"Virtual Network\"|OK");
    rows.row("AT+COPS=3,2;+COPS?", "+COPS: 0,2,\"00101\"|OK");
    rows.row("AT+COPS=3,1;+COPS?", "+COPS: 0,1,\"Virtual\"|OK");
    rows.row("AT+COPS=?", "+COPS: (2,\"Virtual Network\",\"Virtual\",\"00101\"),"
                          "(3,\"Other Network\",\"Other\",\"00102\"),,(0-4),(0-2)|OK");
    rows.row({"AT+COPS=2"}, "AT+COPS?;+CREG?", "+COPS: 2|+CREG: 0,0|OK");
    rows.row({"AT+COPS=2", "AT+COPS=0"}, "AT+COPS?", "+COPS: 0,0,\"Virtual Network\"|OK");
    rows.row({"AT+COPS=2", "AT+COPS=0,0"}, "AT+CREG?", "+CREG: 0,1|OK");
    rows.row({"AT+COPS=1,2,\"00101\""}, "AT+COPS?", "+COPS: 1,0,\"Virtual Network\"|OK");
    rows.row({"AT+COPS=1,0,\"Virtual Network\""}, "AT+COPS?", "+COPS: 1,0,\"Virtual Network\"|OK");
    rows.row({"AT+CMEE=1"}, "AT+COPS=1,2,\"00102\"", "+CME ERROR: 32");
    rows.row({"AT+CMEE=1"}, "AT+COPS=1,2,\"99999\"", "+CME ERROR: 30");
    rows.row({"AT+COPS=4,2,\"99999\""}, "AT+COPS?", "+COPS: 0,0,\"Virtual Network\"|OK");
    rows.row({"AT+COPS=4,1,\"Virtual\""}, "AT+COPS?", "+COPS: 1,0,\"Virtual Network\"|OK");
    rows.row({"AT+CFUN=4", "AT+CMEE=1"}, "AT+COPS=?", "+CME ERROR: 30");
    rows.row({"AT+CFUN=4"}, "AT+COPS?", "+COPS: 0|OK");
    rows.row("AT+COPS=5", "ERROR");
    rows.row("AT+COPS=1", "ERROR");
    rows.row("AT+COPS=1,2", "ERROR");
    rows.row("AT+COPS=3", "ERROR");
    rows.row("AT+COPS=3,3", "ERROR");
    rows.row("AT+COPS=0,0,\"Virtual Network\"", "ERROR");
    rows.row("AT+COPS=1,2,\"00101\",0", "ERROR");
}

void NetworkCommandsTest::answers()
{
    CommandBench bench;
    checkRow(bench);
}

void NetworkCommandsTest::registrationIsTold_data()
{
    QTest::addColumn<QString>("registration");
    QTest::addColumn<QByteArray>("answer");
    const auto row = [](const char *registration, const char *answer) {
        QTest::newRow(registration) << QString(registration) << QByteArray(answer);
    };
    row("none", "+CREG: 0,0|+CGREG: 0,0|+COPS: 0|OK");
    row("home", "+CREG: 0,1|+CGREG: 0,1|+COPS: 0,0,\"Virtual Network\"|OK");
    row("searching", "+CREG: 0,2|+CGREG: 0,2|+COPS: 0|OK");
    row("denied", "+CREG: 0,3|+CGREG: 0,3|+COPS: 0|OK");
    row("roaming", "+CREG: 0,5|+CGREG: 0,5|+COPS: 0,0,\"Virtual Network\"|OK");
}

void NetworkCommandsTest::registrationIsTold()
{
    QFETCH(QString, registration);
    QFETCH(QByteArray, answer);
    CommandBench bench;
    Registration state = Registration::Home;
    QVERIFY(readRegistration(registration, &state));
    bench.network.setRegistration(state);
    QCOMPARE(bench.say("AT+CREG?;+CGREG?;+COPS?"), answer);
}

void NetworkCommandsTest::changesAreReported()
{
    const RegistrationState away;
    const RegistrationState home{Registration::Home, Registration::Home};
    const RegistrationState detached{Registration::Home, Registration::NotSearching};
    ModemSettings settings;
    settings.registrationReports = 1;
    settings.packetRegistrationReports = 2;
    using Codes = QList<QByteArray>;
    QCOMPARE(registrationReports(away, home, settings),
             (Codes{"+CREG: 1", "+CGREG: 1,\"0001\",\"0001\""}));
    QCOMPARE(registrationReports(home, away, settings), (Codes{"+CREG: 0", "+CGREG: 0"}));
    QCOMPARE(registrationReports(home, detached, settings), Codes{"+CGREG: 0"});
    QCOMPARE(registrationReports(home, home, settings), Codes());
}

void NetworkCommandsTest::changesAreReportedOnlyWhenAskedFor()
{
    const RegistrationState home{Registration::Home, Registration::Home};
    QCOMPARE(registrationReports({}, home, {}), QList<QByteArray>());
}

void NetworkCommandsTest::scanTakesTime()
{
    CommandBench bench;
    bench.network.setScanTime(1234);
    bench.say("AT+COPS?");
    QCOMPARE(bench.delayMs, 0);
    bench.say("AT+COPS=?");
    QCOMPARE(bench.delayMs, 1234);
}

void NetworkCommandsTest::networkComparesNamesWithoutCase()
{
    PhoneNetwork network;
    QVERIFY(network.acceptsApn("Internet"));
    QVERIFY(!network.acceptsApn("intern"));
    network.setAcceptedApns({"Own.Net"});
    QVERIFY(network.acceptsApn("own.net"));
    QVERIFY(!network.acceptsApn("internet"));
}

// V.250 5.3 and 5.7
void NetworkCommandsTest::firstFailureEndsTheLine()
{
    CommandBench bench;
    QCOMPARE(bench.say("AT+CSQ;+NONSENSE;E0"), QByteArray("+CSQ: 21,99|ERROR"));
    QVERIFY(bench.modem.settings.echo);
}

// Whatever comes is answered, and leaves a modem that works.
void NetworkCommandsTest::anyBytesAreAnswered()
{
    const QList<QByteArray> pieces{"+CGDCONT=1,\"IP\",\"internet\"",
                                   "+COPS=",
                                   "\"",
                                   ",",
                                   ";",
                                   "=?",
                                   "?",
                                   "S",
                                   "S3=",
                                   "&",
                                   "D*99",
                                   "***1#",
                                   "+CPIN=\"1234\"",
                                   "+CFUN=1",
                                   "+CLCK=\"SC\",",
                                   "2147483648",
                                   "-1",
                                   "E",
                                   "Q0",
                                   "+CGACT=1,1",
                                   "+CCLK=\"",
                                   "+CSCA=\"+",
                                   "+IFC=",
                                   "\xFF",
                                   "+"};
    quint32 state = 20061231; // the same bytes in each run
    const auto random = [&state](int below) {
        state = state * 1664525 + 1013904223;
        return static_cast<int>((state >> 8) % static_cast<quint32>(below));
    };
    CommandBench bench;
    for (int i = 0; i < 20000; ++i) {
        QByteArray line = "AT";
        for (int length = random(8); length > 0; --length)
            line += random(3) == 0 ? QByteArray(1, static_cast<char>(random(256)))
                                   : pieces.at(random(static_cast<int>(pieces.size())));
        const CommandAnswer answer = executeCommandLine(line, bench.network, &bench.modem);
        QVERIFY2(bench.modem.connected || !bench.modem.dataState, line.constData());
        QVERIFY2(answer.result.code == ResultCode::Error || answer.result.error == PhoneError::None,
                 line.constData());
    }
    bench.modem = {};
    QCOMPARE(bench.say("AT"), QByteArray("OK"));
}

QTEST_GUILESS_MAIN(NetworkCommandsTest)
#include "networkcommands_test.moc"
