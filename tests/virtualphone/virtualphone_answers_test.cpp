#include "tests/virtualphone/phonetest.h"

#include <QElapsedTimer>
#include <QTest>

#include <termios.h>

using namespace virtualphone;

/// The AT command line: answers, echoes and what the PC gets of them.
class VirtualPhoneAnswersTest : public PhoneTest
{
    Q_OBJECT

private slots:
    void slaveIsRaw();
    void answersInChunks_data();
    void answersInChunks();
    void echoIsAChunkOfItsOwn();
    void echoComesAsCharactersArrive();
    void echoIsSwitchedByCommand();
    void resultFormIsSwitchedByCommand();
    void splitCommand();
    void commandsSentAheadAreAnsweredInTurn();
    void lineFeedsDoNotMatter();
    void overlongLine();
    void chunksWaitForTheReader();
    void readerThatDoesNotReadIsNotWaitedForForEver();
    void bytesWrittenRightAfterOpeningAreNotLost();
    void unreadBytesEndWithThePort();
    void lineIsRepeated();
    void lineEndIsChosen();
    void scanTakesItsTime();
    void registrationIsReported();
    void cardIsChanged();
};

void VirtualPhoneAnswersTest::slaveIsRaw()
{
    start();
    termios settings{};
    QCOMPARE(tcgetattr(m_line->descriptor(), &settings), 0);
    QVERIFY(!(settings.c_lflag & (ECHO | ICANON | ISIG | IEXTEN)));
    QVERIFY(!(settings.c_iflag & (ICRNL | INLCR | IGNCR | IXON)));
    QVERIFY(!(settings.c_oflag & OPOST));
    QCOMPARE(cfgetospeed(&settings), speed_t(B9600));
}

void VirtualPhoneAnswersTest::answersInChunks_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QList<QByteArray>>("chunks");
    const auto row = [](const char *command, const Chunks &chunks) {
        QTest::newRow(command) << QByteArray(command) << chunks;
    };
    row("AT\r", {ok});
    row("ATZ\r", {ok});
    row("AT&F\r", {ok});
    row("ATH\r", {ok});
    row("ATO\r", {noCarrier});
    row("ATI\r", {"\r\nVirtual Phone GPRS modem\r\n", ok});
    row("AT+CGMI\r", {"\r\nVirtual Phone\r\n", ok});
    row("AT+CSQ\r", {"\r\n+CSQ: 21,99\r\n", ok});
    row("AT+CREG?\r", {"\r\n+CREG: 0,1\r\n", ok});
    row("AT+CGATT?\r", {"\r\n+CGATT: 1\r\n", ok});
    row("AT+CGATT=0\r", {ok});
    row("AT+CGATT=?\r", {"\r\n+CGATT: (0,1)\r\n", ok});
    row("AT+CGDCONT=1,\"IP\",\"gpinternet\"\r", {ok});
    row("AT+CGDCONT=1,\"IP\",\"gp\"internet\"\r", {error});
    row("AT+CGDCONT=?\r", {"\r\n+CGDCONT: (1-3),\"IP\",,,(0),(0)\r\n", ok});
    row("AT+CSQ;+CREG?\r", {"\r\n+CSQ: 21,99\r\n", "\r\n+CREG: 0,1\r\n", ok});
    row("AT+NONSENSE\r", {error});
    row("at\r", {ok});
}

void VirtualPhoneAnswersTest::answersInChunks()
{
    QFETCH(QByteArray, command);
    QFETCH(QList<QByteArray>, chunks);
    start();
    QCOMPARE(exchange(command, static_cast<int>(chunks.size())), chunks);
    // Nothing more: the next answer is the next command's.
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneAnswersTest::echoIsAChunkOfItsOwn()
{
    m_options.misbehaviour.echo = EchoMode::On;
    m_options.misbehaviour.delayMs = 0;
    start();
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(exchange("AT\r", 2), (Chunks{"AT\r", ok}));
        QCOMPARE(exchange(setInternet, 2), (Chunks{setInternet, ok}));
    }
}

void VirtualPhoneAnswersTest::echoComesAsCharactersArrive()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(exchange("A", 1), Chunks{"A"});
    QCOMPARE(exchange("T", 1), Chunks{"T"});
    QCOMPARE(exchange("\r", 2), (Chunks{"\r", ok}));
}

void VirtualPhoneAnswersTest::echoIsSwitchedByCommand()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(exchange("ATE0\r", 2), (Chunks{"ATE0\r", ok}));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATE1\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATE0\r", 2), (Chunks{"ATE0\r", ok}));
    QCOMPARE(exchange("ATZ\r", 1), Chunks{ok});
    QCOMPARE(exchange("AT\r", 2), (Chunks{"AT\r", ok}));
}

void VirtualPhoneAnswersTest::resultFormIsSwitchedByCommand()
{
    start();
    QCOMPARE(exchange("ATV0\r", 1), Chunks{"0\r"});
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"+CSQ: 21,99\r\n", "0\r"}));
    QCOMPARE(exchange("AT+X\r", 1), Chunks{"4\r"});
    QCOMPARE(exchange("ATQ1V1\rAT+CSQ\rATQ0\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneAnswersTest::splitCommand()
{
    start();
    for (const char c : QByteArray("AT+CGATT?")) {
        const qint64 before = statusField("received").toLongLong();
        QVERIFY(m_line->write(QByteArray(1, c)));
        QTRY_COMPARE(statusField("received").toLongLong(), before + 1);
        QVERIFY(!m_line->hasInput());
    }
    QCOMPARE(exchange("\r", 2), (Chunks{"\r\n+CGATT: 1\r\n", ok}));
}

void VirtualPhoneAnswersTest::commandsSentAheadAreAnsweredInTurn()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(
        exchange("AT\rATI\rAT+X\r", 7),
        (Chunks{"AT\r", ok, "ATI\r", "\r\nVirtual Phone GPRS modem\r\n", ok, "AT+X\r", error}));
}

void VirtualPhoneAnswersTest::lineFeedsDoNotMatter()
{
    start();
    QCOMPARE(exchange("AT\r\nAT+X\r\n", 2), (Chunks{ok, error}));
    QCOMPARE(exchange("\r\n\r\nno command\rAT\r", 1), Chunks{ok});
}

void VirtualPhoneAnswersTest::overlongLine()
{
    start();
    const QByteArray tooLong = "AT+CGDCONT=1,\"IP\",\"" + QByteArray(10000, 'x') + "\"\r";
    QVERIFY(m_line->write(tooLong.left(4000)));
    QTRY_COMPARE(statusField("received"), QString("4000"));
    QVERIFY(m_line->write(tooLong.mid(4000, 4000)));
    QTRY_COMPARE(statusField("received"), QString("8000"));
    QVERIFY(m_line->write(tooLong.mid(8000) + "AT+CGDCONT?\rAT+CSQ\r"));
    QCOMPARE(m_line->readChunks(4), (Chunks{error, ok, "\r\n+CSQ: 21,99\r\n", ok}));
    // The echo of such a line is complete, too.
    QCOMPARE(exchange("ATE1\r", 1), Chunks{ok});
    QVERIFY(m_line->write(tooLong.left(3000)));
    QCOMPARE(m_line->readBytes(3000), tooLong.left(3000));
    QCOMPARE(exchange("\r", 2), (Chunks{"\r", error}));
}

void VirtualPhoneAnswersTest::chunksWaitForTheReader()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QVERIFY(m_line->write("ATI\r"));
    QTRY_COMPARE(statusField("sent"), QString("4"));
    // The answer is due after a millisecond; the echo is still there alone.
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > 100);
    QCOMPARE(statusField("sent"), QString("4"));
    QCOMPARE(m_line->readChunk(), QByteArray("ATI\r"));
    QTRY_COMPARE(statusField("sent"), QString("32"));
    QCOMPARE(m_line->readChunks(2), (Chunks{"\r\nVirtual Phone GPRS modem\r\n", ok}));
}

void VirtualPhoneAnswersTest::readerThatDoesNotReadIsNotWaitedForForEver()
{
    start();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(m_line->write("AT\rAT\r"));
    QTRY_COMPARE(statusField("sent"), QString("12"));
    QVERIFY(clock.elapsed() >= 1900);
    // The kernel hands each answer on in its own time.
    QCOMPARE(m_line->readBytes(2 * ok.size()), ok + ok);
}

void VirtualPhoneAnswersTest::bytesWrittenRightAfterOpeningAreNotLost()
{
    start();
    m_line.reset();
    for (int i = 0; i < 20; ++i) {
        QTRY_COMPARE(statusField("port"), QString("closed"));
        const QByteArray apn = "name" + QByteArray::number(i);
        {
            SerialLine line(m_phone->ttyName());
            QVERIFY(line.write("AT+CGDCONT=1,\"IP\",\"" + apn + "\"\r"));
        }
        QTRY_VERIFY(transcriptText().contains(apn));
        SerialLine line(m_phone->ttyName());
        QVERIFY(line.write("AT+CGDCONT?\r"));
        QByteArray answers = line.readChunk();
        if (answers == ok) // of the command before, if its time had not come yet
            answers = line.readChunk();
        QCOMPARE(answers, "\r\n+CGDCONT: 1,\"IP\",\"" + apn + "\",\"\",0,0\r\n");
        QCOMPARE(line.readChunk(), ok);
    }
}

void VirtualPhoneAnswersTest::unreadBytesEndWithThePort()
{
    start();
    QVERIFY(m_line->write("ATI\r"));
    QTRY_VERIFY(m_line->hasInput()); // the text; the OK waits behind it
    m_line.reset();
    QTRY_COMPARE(statusField("port"), QString("closed"));
    open();
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
    QVERIFY(transcriptText().contains(" phone did not send 6 bytes\n"));
}

// V.250 5.2.4
void VirtualPhoneAnswersTest::lineIsRepeated()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(exchange("AT+CGATT?\r", 3), (Chunks{"AT+CGATT?\r", "\r\n+CGATT: 1\r\n", ok}));
    QCOMPARE(exchange("A/", 3), (Chunks{"A/", "\r\n+CGATT: 1\r\n", ok}));
}

// V.250 6.2.1
void VirtualPhoneAnswersTest::lineEndIsChosen()
{
    start();
    QCOMPARE(exchange("ATS3=33\r", 1), Chunks{"!\nOK!\n"});
    QCOMPARE(exchange("ATS3=13!", 1), Chunks{ok});
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

// 27.007 7.3
void VirtualPhoneAnswersTest::scanTakesItsTime()
{
    m_options.scanTimeMs = 300;
    start();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(m_line->write("AT+COPS=?\rAT\r"));
    QVERIFY(m_line->readChunk().startsWith("\r\n+COPS: (2,"));
    QVERIFY(clock.elapsed() >= 300);
    QCOMPARE(m_line->readChunks(2), (Chunks{ok, ok}));
}

// 27.007 7.2 and 10.1.20
void VirtualPhoneAnswersTest::registrationIsReported()
{
    start();
    QCOMPARE(exchange("AT+CREG=1;+CGREG=2\r", 1), Chunks{ok});
    QCOMPARE(control("registration searching"), QString("ok registration searching"));
    QCOMPARE(m_line->readChunks(2), (Chunks{"\r\n+CREG: 2\r\n", "\r\n+CGREG: 2\r\n"}));
    control("registration roaming");
    QCOMPARE(m_line->readChunks(2),
             (Chunks{"\r\n+CREG: 5\r\n", "\r\n+CGREG: 5,\"0001\",\"0001\"\r\n"}));
    control("registration roaming");
    // After the answer to the command that changed it.
    QCOMPARE(exchange("AT+CGATT=0\r", 2), (Chunks{ok, "\r\n+CGREG: 0\r\n"}));
    QCOMPARE(exchange("AT+CREG=0\r", 1), Chunks{ok});
    control("registration home");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("registration x"),
             QString("error: registration takes home|roaming|searching|denied|none"));
}

// 27.007 8.3
void VirtualPhoneAnswersTest::cardIsChanged()
{
    m_options.card = SimCard::State::PinRequired;
    start();
    QCOMPARE(exchange("AT+CREG=1;+CPIN?\r", 2), (Chunks{"\r\n+CPIN: SIM PIN\r\n", ok}));
    QCOMPARE(exchange("AT+CPIN=\"1234\"\r", 2), (Chunks{ok, "\r\n+CREG: 1\r\n"}));
    QCOMPARE(control("card none"), QString("ok card none"));
    QCOMPARE(m_line->readChunk(), QByteArray("\r\n+CREG: 0\r\n"));
    QCOMPARE(exchange("AT+CMEE=1;+CPIN?\r", 1), Chunks{"\r\n+CME ERROR: 10\r\n"});
    QCOMPARE(control("card x"), QString("error: card takes ready|pin|puk|none"));
}

QTEST_GUILESS_MAIN(VirtualPhoneAnswersTest)
#include "virtualphone_answers_test.moc"
