#include "tests/virtualphone/phonetest.h"

#include <QElapsedTimer>
#include <QTest>

#include <termios.h>

using namespace virtualphone;

/// Data connections: dialled, used, left, dropped.
class VirtualPhoneConnectionTest : public PhoneTest
{
    Q_OBJECT

private slots:
    void dials_data();
    void dials();
    void refusedNameThenAcceptedOne();
    void networkIsChanged();
    void dataIsNotInterpreted();
    void manyBytesOfData();
    void escapeToCommandsAndBack();
    void noEscapeWithoutPauses();
    void hangUp();
    void networkDrops_data();
    void networkDrops();
    void nothingToDrop();
    void closedPortHangsUp_data();
    void closedPortHangsUp();
    void portReopenedAtOnceHangsUp();
    void closedPortLeadsToCommands();
    void connectionOutlivesThePort();
    void dialThatOutlivesThePort();
    void rateOfZeroHangsUp();
    void carrierThatIsAlwaysOn();
    void networkIsLost_data();
    void networkIsLost();
    void carrierChangesBeforeTheAnswer();

private:
    /// Leaves data state.
    void escape();
};

void VirtualPhoneConnectionTest::escape()
{
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > m_options.guardTimeMs);
    QCOMPARE(exchange("+++", 1), Chunks{ok});
}

void VirtualPhoneConnectionTest::dials_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("accepted") << setInternet << QByteArray("ATD*99#\r") << connected;
    QTest::newRow("tone") << setInternet << QByteArray("ATDT*99#\r") << connected;
    QTest::newRow("context named") << setInternet << QByteArray("ATD*99***1#\r") << connected;
    QTest::newRow("refused") << QByteArray("AT+CGDCONT=1,\"IP\",\"wrong\"\r")
                             << QByteArray("ATD*99#\r") << noCarrier;
    QTest::newRow("malformed name")
        << QByteArray("AT+CGDCONT=1,\"IP\",\"inter\"net\"\r") << QByteArray("ATD*99#\r") << error;
    QTest::newRow("no context") << QByteArray("AT\r") << QByteArray("ATD*99#\r") << error;
    QTest::newRow("another number") << setInternet << QByteArray("ATD12345\r") << noCarrier;
}

void VirtualPhoneConnectionTest::dials()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    start();
    QCOMPARE(exchange(before, 1).size(), 1);
    QCOMPARE(exchange(command, 1), Chunks{answer});
    QCOMPARE(statusField("state"), QString(answer == connected ? "data" : "command"));
    QCOMPARE(statusField("carrier"), QString(answer == connected ? "yes" : "no"));
    QCOMPARE(busRecord().value("carrier").toBool(), answer == connected);
}

void VirtualPhoneConnectionTest::refusedNameThenAcceptedOne()
{
    start();
    QCOMPARE(exchange("AT+CGDCONT=1,\"IP\",\"wrong\"\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{noCarrier});
    connectToInternet();
}

void VirtualPhoneConnectionTest::networkIsChanged()
{
    m_options.acceptedApns = QStringList{"own.apn"};
    start();
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{noCarrier});
    QCOMPARE(control("accept-apn other,internet"), QString("ok accepted: other,internet"));
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

void VirtualPhoneConnectionTest::dataIsNotInterpreted()
{
    start();
    connectToInternet();
    const QString sent = statusField("sent");
    const QByteArray data("AT\rATH\r\0\xFF~}#\r\n", 14);
    QVERIFY(m_line->write(data));
    QTRY_COMPARE(statusField("data"), QString("14"));
    QVERIFY(m_line->write("more"));
    QTRY_COMPARE(statusField("data"), QString("18"));
    QCOMPARE(statusField("sent"), sent);
    QCOMPARE(statusField("state"), QString("data"));
    QVERIFY(transcriptText().contains("14 \"AT\\rATH\\r\\x00\\xFF~}#\\r\\n\"\n"));
}

void VirtualPhoneConnectionTest::manyBytesOfData()
{
    start();
    connectToInternet();
    const QByteArray block(1000, '~');
    for (int i = 0; i < 300; ++i)
        QVERIFY(m_line->write(block));
    QTRY_COMPARE(statusField("data"), QString("300000"));
}

void VirtualPhoneConnectionTest::escapeToCommandsAndBack()
{
    start();
    connectToInternet();
    escape();
    QCOMPARE(statusField("state"), QString("command"));
    QCOMPARE(statusField("carrier"), QString("yes"));
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{error});
    QCOMPARE(exchange("ATO\r", 1), Chunks{connected});
    QCOMPARE(statusField("state"), QString("data"));
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("data"), QString("6")); // with the three plus signs
}

void VirtualPhoneConnectionTest::noEscapeWithoutPauses()
{
    m_options.guardTimeMs = 60000;
    start();
    connectToInternet();
    QVERIFY(m_line->write("+++"));
    QTRY_COMPARE(statusField("data"), QString("3"));
    QVERIFY(m_line->write("ATH\r"));
    QTRY_COMPARE(statusField("data"), QString("7"));
    QCOMPARE(statusField("state"), QString("data"));
}

void VirtualPhoneConnectionTest::hangUp()
{
    start();
    connectToInternet();
    escape();
    QCOMPARE(exchange("ATH\r", 1), Chunks{ok});
    QCOMPARE(statusField("carrier"), QString("no"));
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
    QCOMPARE(exchange("ATO\r", 1), Chunks{noCarrier});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

void VirtualPhoneConnectionTest::networkDrops_data()
{
    QTest::addColumn<bool>("escapeFirst");
    QTest::newRow("in data state") << false;
    QTest::newRow("in command state") << true;
}

void VirtualPhoneConnectionTest::networkDrops()
{
    QFETCH(bool, escapeFirst);
    start();
    connectToInternet();
    if (escapeFirst)
        escape();
    QCOMPARE(control("drop"), QString("ok connection dropped"));
    QCOMPARE(m_line->readChunk(), noCarrier);
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("drop"), QString("error: there is no connection"));
}

void VirtualPhoneConnectionTest::nothingToDrop()
{
    start();
    QCOMPARE(control("drop"), QString("error: there is no connection"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

// V.250 6.2.9: a closed port is a PC that is not ready.
void VirtualPhoneConnectionTest::closedPortHangsUp_data()
{
    QTest::addColumn<bool>("escapeFirst");
    QTest::newRow("in data state") << false;
    QTest::newRow("in command state") << true;
}

void VirtualPhoneConnectionTest::closedPortHangsUp()
{
    QFETCH(bool, escapeFirst);
    start();
    connectToInternet();
    if (escapeFirst)
        escape();
    m_line.reset();
    QTRY_COMPARE(statusField("port"), QString("closed"));
    QTRY_COMPARE(statusField("carrier"), QString("no"));
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
    // Whoever opens the port next is told nothing of it.
    open();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

void VirtualPhoneConnectionTest::portReopenedAtOnceHangsUp()
{
    start();
    for (int i = 0; i < 50; ++i) {
        connectToInternet();
        m_line.reset();
        open();
        QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    }
}

void VirtualPhoneConnectionTest::closedPortLeadsToCommands()
{
    start();
    QCOMPARE(exchange("AT&D1\r", 1), Chunks{ok});
    connectToInternet();
    m_line.reset();
    QTRY_COMPARE(statusField("state"), QString("command"));
    QCOMPARE(statusField("carrier"), QString("yes"));
    open();
    QCOMPARE(exchange("ATO\r", 1), Chunks{connected});
}

void VirtualPhoneConnectionTest::connectionOutlivesThePort()
{
    start();
    QCOMPARE(exchange("AT&D0\r", 1), Chunks{ok});
    connectToInternet();
    m_line.reset();
    QTRY_COMPARE(statusField("port"), QString("closed"));
    QCOMPARE(statusField("carrier"), QString("yes"));
    QCOMPARE(busRecord().value("carrier").toBool(), true);
    open();
    QTRY_COMPARE(statusField("port"), QString("open"));
    QCOMPARE(statusField("state"), QString("data"));
    // A drop that nobody hears is not told to who opens the port afterwards.
    m_line.reset();
    QTRY_COMPARE(statusField("port"), QString("closed"));
    QCOMPARE(control("drop"), QString("ok connection dropped"));
    open();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneConnectionTest::dialThatOutlivesThePort()
{
    m_options.misbehaviour.delayMs = 200;
    start();
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    QVERIFY(m_line->write("ATD*99#\r"));
    m_line.reset();
    QTRY_VERIFY(transcriptText().contains("carrier off"));
    QVERIFY(transcriptText().contains("carrier on"));
    open();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

// A terminal's rate of 0 lets data terminal ready go.
void VirtualPhoneConnectionTest::rateOfZeroHangsUp()
{
    start();
    connectToInternet();
    termios settings{};
    QCOMPARE(tcgetattr(m_line->descriptor(), &settings), 0);
    cfsetspeed(&settings, B0);
    QCOMPARE(tcsetattr(m_line->descriptor(), TCSANOW, &settings), 0);
    QCOMPARE(m_line->readChunk(), noCarrier);
    QCOMPARE(statusField("carrier"), QString("no"));
    cfsetspeed(&settings, B9600);
    QCOMPARE(tcsetattr(m_line->descriptor(), TCSANOW, &settings), 0);
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

// V.250 6.2.8
void VirtualPhoneConnectionTest::carrierThatIsAlwaysOn()
{
    start();
    QCOMPARE(exchange("AT&C0\r", 1), Chunks{ok});
    QCOMPARE(busRecord().value("carrier").toBool(), true);
    QCOMPARE(exchange("AT&C1\r", 1), Chunks{ok});
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
}

void VirtualPhoneConnectionTest::networkIsLost_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("out of reach") << "registration searching";
    QTest::newRow("card taken out") << "card none";
}

void VirtualPhoneConnectionTest::networkIsLost()
{
    QFETCH(QString, command);
    start();
    connectToInternet();
    QVERIFY(control(command).startsWith("ok"));
    QCOMPARE(m_line->readChunk(), noCarrier);
    QCOMPARE(statusField("state"), QString("command"));
}

void VirtualPhoneConnectionTest::carrierChangesBeforeTheAnswer()
{
    start();
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    for (int i = 0; i < 20; ++i) {
        QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
        QCOMPARE(busRecord().value("carrier").toBool(), true);
        control("drop");
        QCOMPARE(m_line->readChunk(), noCarrier);
        QCOMPARE(busRecord().value("carrier").toBool(true), false);
    }
}

QTEST_GUILESS_MAIN(VirtualPhoneConnectionTest)
#include "virtualphone_connection_test.moc"
