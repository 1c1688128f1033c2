#include "tests/virtualphone/serialline.h"
#include "virtualphone/virtualphonethread.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <memory>
#include <termios.h>

using namespace virtualphone;

namespace {

using Chunks = QList<QByteArray>;

const QByteArray ok = "\r\nOK\r\n";
const QByteArray error = "\r\nERROR\r\n";
const QByteArray connected = "\r\nCONNECT\r\n";
const QByteArray noCarrier = "\r\nNO CARRIER\r\n";
const QByteArray setInternet = "AT+CGDCONT=1,\"IP\",\"internet\"\r";

} // namespace

/// The phone in its own thread, the test as the PC at the other end.
class VirtualPhoneTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

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
    void connectionOutlivesThePort();
    void carrierChangesBeforeTheAnswer();

    void echoGlued();
    void echoGluedWithoutAnswer();
    void answerSplit();
    void linesJoined();
    void answersJoined();
    void joinedAnswerIsNotKeptForAnEmptyLine();
    void twoAnswersToOneCommand();
    void noise_data();
    void noise();
    void delay();
    void silent();
    void silentWhileACommandIsPending();
    void errorToEverything();
    void errorToSome();
    void unplugInTheMiddleOfACommand();
    void unknownSetting();

    void unplugHangsUp();
    void plugIntoAnotherSocket();
    void contextsSurviveUnplugging();
    void busFile();
    void replugHasNewId();
    void occupiedSocket();
    void staleFileIsReplaced();
    void unusableBus();
    void controlAnswers_data();
    void controlAnswers();
    void statusTellsEverything();
    void transcript();
    void unwritableTranscript();

private:
    void start();
    void open();
    QString control(const QString &command) { return m_phone->control(command); }
    Chunks exchange(const QByteArray &bytes, int chunks);
    QString statusField(const QString &name);
    void connectToInternet();
    QJsonObject busRecord(int socket = 1) const;
    QByteArray transcriptText() const;

    std::unique_ptr<QTemporaryDir> m_directory;
    PhoneOptions m_options;
    std::unique_ptr<VirtualPhoneThread> m_phone;
    std::unique_ptr<SerialLine> m_line;
};

void VirtualPhoneTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    m_options = {};
    m_options.busDirectory = m_directory->filePath("pc/usb");
    m_options.transcriptFile = m_directory->filePath("transcript");
    m_options.guardTimeMs = 60;
    m_options.misbehaviour.delayMs = 1;
    m_options.misbehaviour.echo = EchoMode::Off;
}

void VirtualPhoneTest::cleanup()
{
    m_line.reset();
    m_phone.reset();
    m_directory.reset();
}

void VirtualPhoneTest::start()
{
    m_phone = std::make_unique<VirtualPhoneThread>(m_options);
    QString message;
    const QString tty = m_phone->start(&message);
    QCOMPARE(message, QString());
    QVERIFY(tty.startsWith("/dev/pts/"));
    open();
}

void VirtualPhoneTest::open()
{
    m_line = std::make_unique<SerialLine>(m_phone->ttyName());
    QVERIFY(m_line->isOpen());
}

Chunks VirtualPhoneTest::exchange(const QByteArray &bytes, int chunks)
{
    return m_line->write(bytes) ? m_line->readChunks(chunks) : Chunks();
}

QString VirtualPhoneTest::statusField(const QString &name)
{
    for (const QString &field : control("status").split(' ')) {
        if (field.startsWith(name + '='))
            return field.section('=', 1);
    }
    return {};
}

void VirtualPhoneTest::connectToInternet()
{
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

QJsonObject VirtualPhoneTest::busRecord(int socket) const
{
    QFile file(QString("%1/socket%2.json").arg(m_options.busDirectory).arg(socket));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QByteArray VirtualPhoneTest::transcriptText() const
{
    QFile file(m_options.transcriptFile);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void VirtualPhoneTest::slaveIsRaw()
{
    start();
    termios settings{};
    QCOMPARE(tcgetattr(m_line->descriptor(), &settings), 0);
    QVERIFY(!(settings.c_lflag & (ECHO | ICANON | ISIG | IEXTEN)));
    QVERIFY(!(settings.c_iflag & (ICRNL | INLCR | IGNCR | IXON)));
    QVERIFY(!(settings.c_oflag & OPOST));
    QCOMPARE(cfgetospeed(&settings), speed_t(B9600));
}

void VirtualPhoneTest::answersInChunks_data()
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

void VirtualPhoneTest::answersInChunks()
{
    QFETCH(QByteArray, command);
    QFETCH(QList<QByteArray>, chunks);
    start();
    QCOMPARE(exchange(command, static_cast<int>(chunks.size())), chunks);
    // Nothing more: the next answer is the next command's.
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::echoIsAChunkOfItsOwn()
{
    m_options.misbehaviour.echo = EchoMode::On;
    m_options.misbehaviour.delayMs = 0;
    start();
    for (int i = 0; i < 50; ++i) {
        QCOMPARE(exchange("AT\r", 2), (Chunks{"AT\r", ok}));
        QCOMPARE(exchange(setInternet, 2), (Chunks{setInternet, ok}));
    }
}

void VirtualPhoneTest::echoComesAsCharactersArrive()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(exchange("A", 1), Chunks{"A"});
    QCOMPARE(exchange("T", 1), Chunks{"T"});
    QCOMPARE(exchange("\r", 2), (Chunks{"\r", ok}));
}

void VirtualPhoneTest::echoIsSwitchedByCommand()
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

void VirtualPhoneTest::resultFormIsSwitchedByCommand()
{
    start();
    QCOMPARE(exchange("ATV0\r", 1), Chunks{"0\r"});
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"+CSQ: 21,99\r\n", "0\r"}));
    QCOMPARE(exchange("ATX\r", 1), Chunks{"4\r"});
    QCOMPARE(exchange("ATQ1V1\rAT+CSQ\rATQ0\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneTest::splitCommand()
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

void VirtualPhoneTest::commandsSentAheadAreAnsweredInTurn()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(
        exchange("AT\rATI\rAT+X\r", 7),
        (Chunks{"AT\r", ok, "ATI\r", "\r\nVirtual Phone GPRS modem\r\n", ok, "AT+X\r", error}));
}

void VirtualPhoneTest::lineFeedsDoNotMatter()
{
    start();
    QCOMPARE(exchange("AT\r\nAT+X\r\n", 2), (Chunks{ok, error}));
    QCOMPARE(exchange("\r\n\r\nno command\rAT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::overlongLine()
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

void VirtualPhoneTest::chunksWaitForTheReader()
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

void VirtualPhoneTest::readerThatDoesNotReadIsNotWaitedForForEver()
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

void VirtualPhoneTest::bytesWrittenRightAfterOpeningAreNotLost()
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

void VirtualPhoneTest::unreadBytesEndWithThePort()
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

void VirtualPhoneTest::dials_data()
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

void VirtualPhoneTest::dials()
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

void VirtualPhoneTest::refusedNameThenAcceptedOne()
{
    start();
    QCOMPARE(exchange("AT+CGDCONT=1,\"IP\",\"wrong\"\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{noCarrier});
    connectToInternet();
}

void VirtualPhoneTest::networkIsChanged()
{
    m_options.acceptedApns = QStringList{"own.apn"};
    start();
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{noCarrier});
    QCOMPARE(control("accept-apn other,internet"), QString("ok accepted: other,internet"));
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

void VirtualPhoneTest::dataIsNotInterpreted()
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

void VirtualPhoneTest::manyBytesOfData()
{
    start();
    connectToInternet();
    const QByteArray block(1000, '~');
    for (int i = 0; i < 300; ++i)
        QVERIFY(m_line->write(block));
    QTRY_COMPARE(statusField("data"), QString("300000"));
}

void VirtualPhoneTest::escapeToCommandsAndBack()
{
    start();
    connectToInternet();
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > m_options.guardTimeMs);
    QCOMPARE(exchange("+++", 1), Chunks{ok});
    QCOMPARE(statusField("state"), QString("command"));
    QCOMPARE(statusField("carrier"), QString("yes"));
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{error});
    QCOMPARE(exchange("ATO\r", 1), Chunks{connected});
    QCOMPARE(statusField("state"), QString("data"));
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("data"), QString("6")); // with the three plus signs
}

void VirtualPhoneTest::noEscapeWithoutPauses()
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

void VirtualPhoneTest::hangUp()
{
    start();
    connectToInternet();
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > m_options.guardTimeMs);
    QCOMPARE(exchange("+++", 1), Chunks{ok});
    QCOMPARE(exchange("ATH\r", 1), Chunks{ok});
    QCOMPARE(statusField("carrier"), QString("no"));
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
    QCOMPARE(exchange("ATO\r", 1), Chunks{noCarrier});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

void VirtualPhoneTest::networkDrops_data()
{
    QTest::addColumn<bool>("escapeFirst");
    QTest::newRow("in data state") << false;
    QTest::newRow("in command state") << true;
}

void VirtualPhoneTest::networkDrops()
{
    QFETCH(bool, escapeFirst);
    start();
    connectToInternet();
    if (escapeFirst) {
        QElapsedTimer clock;
        clock.start();
        QTRY_VERIFY(clock.elapsed() > m_options.guardTimeMs);
        QCOMPARE(exchange("+++", 1), Chunks{ok});
    }
    QCOMPARE(control("drop"), QString("ok connection dropped"));
    QCOMPARE(m_line->readChunk(), noCarrier);
    QCOMPARE(busRecord().value("carrier").toBool(true), false);
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("drop"), QString("error: there is no connection"));
}

void VirtualPhoneTest::nothingToDrop()
{
    start();
    QCOMPARE(control("drop"), QString("error: there is no connection"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::connectionOutlivesThePort()
{
    start();
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

void VirtualPhoneTest::carrierChangesBeforeTheAnswer()
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

void VirtualPhoneTest::echoGlued()
{
    m_options.misbehaviour.echo = EchoMode::Glued;
    start();
    QCOMPARE(exchange("AT\r", 1), Chunks{"AT\r\r\nOK\r\n"});
    QCOMPARE(exchange("ATI\r", 2), (Chunks{"ATI\r\r\nVirtual Phone GPRS modem\r\n", ok}));
    QCOMPARE(exchange("AT\rAT+X\r", 2), (Chunks{"AT\r\r\nOK\r\n", "AT+X\r\r\nERROR\r\n"}));
    QCOMPARE(exchange("ATE0\r", 1), Chunks{"ATE0\r\r\nOK\r\n"});
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("set echo glued"), QString("ok echo glued"));
    QCOMPARE(exchange("AT\r", 1), Chunks{"AT\r\r\nOK\r\n"});
    QCOMPARE(control("set echo on"), QString("ok echo on"));
    QCOMPARE(exchange("AT\r", 2), (Chunks{"AT\r", ok}));
    QCOMPARE(control("set echo off"), QString("ok echo off"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::echoGluedWithoutAnswer()
{
    m_options.misbehaviour.echo = EchoMode::Glued;
    start();
    QCOMPARE(exchange("ATQ1\r", 1), Chunks{"ATQ1\r"});
    QCOMPARE(exchange("\r", 1), Chunks{"\r"});
}

void VirtualPhoneTest::answerSplit()
{
    m_options.misbehaviour.splitAfter = 3;
    start();
    QCOMPARE(exchange("AT\r", 2), (Chunks{"\r\nO", "K\r\n"}));
    QCOMPARE(exchange("AT+X\r", 2), (Chunks{"\r\nE", "RROR\r\n"}));
    QCOMPARE(exchange("AT+CSQ\r", 3), (Chunks{"\r\n+CSQ: 21,99\r\n", "\r\nO", "K\r\n"}));
    control("set split 6"); // nothing is left for a second chunk
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("set split 0");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::linesJoined()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT+CSQ\r", 1), Chunks{"\r\n+CSQ: 21,99\r\n\r\nOK\r\n"});
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("set join off");
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneTest::answersJoined()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT\rAT+CSQ\rAT+X\r", 1), Chunks{ok + "\r\n+CSQ: 21,99\r\n" + ok + error});
}

void VirtualPhoneTest::joinedAnswerIsNotKeptForAnEmptyLine()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT\r\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATQ1\rAT\rATQ0\r", 1), Chunks{ok});
}

void VirtualPhoneTest::twoAnswersToOneCommand()
{
    start();
    QCOMPARE(control("set glue \\r\\nOK\\r\\n"), QString("ok glue \\r\\nOK\\r\\n"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok + ok});
    QCOMPARE(control("set glue off"), QString("ok glue off"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::noise_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("chunk");
    QTest::newRow("line") << "\\r\\nRING\\r\\n" << QByteArray("\r\nRING\r\n");
    QTest::newRow("nul") << "\\0" << QByteArray(1, '\0');
    QTest::newRow("nul behind an answer") << "\\r\\nOK\\r\\n\\0x" << QByteArray("\r\nOK\r\n\0x", 8);
    QTest::newRow("100 bytes") << QString(100, 'x') << QByteArray(100, 'x');
    QTest::newRow("blanks") << "a b  c" << QByteArray("a b  c");
}

void VirtualPhoneTest::noise()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, chunk);
    start();
    QCOMPARE(control("set noise " + text), "ok noise " + text);
    QCOMPARE(exchange("AT\r", 2), (Chunks{chunk, ok}));
    QCOMPARE(exchange("AT+CSQ\r", 3), (Chunks{chunk, "\r\n+CSQ: 21,99\r\n", ok}));
    control("set noise off");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::delay()
{
    start();
    control("set delay 150");
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QVERIFY(clock.elapsed() >= 149);
    control("set delay 0");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::silent()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(control("set silent on"), QString("ok silent on"));
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("received"), QString("3"));
    QVERIFY(m_line->write("AT+CSQ\r"));
    QTRY_COMPARE(statusField("received"), QString("10"));
    QCOMPARE(statusField("sent"), QString("0"));
    QVERIFY(!m_line->hasInput());
    QCOMPARE(control("set silent off"), QString("ok silent off"));
    QCOMPARE(m_line->readChunks(5), (Chunks{"AT\r", ok, "AT+CSQ\r", "\r\n+CSQ: 21,99\r\n", ok}));
    // It said nothing before it was allowed to.
    const QByteArray text = transcriptText();
    QVERIFY(text.indexOf("phone->pc") > text.indexOf("set silent off"));
}

void VirtualPhoneTest::silentWhileACommandIsPending()
{
    start();
    control("set delay 50");
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("received"), QString("3"));
    control("set silent on");
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > 100);
    QCOMPARE(statusField("sent"), QString("0"));
    control("set silent off");
    QCOMPARE(m_line->readChunk(), ok);
}

void VirtualPhoneTest::errorToEverything()
{
    start();
    control("set error all");
    QCOMPARE(exchange("AT\r", 1), Chunks{error});
    QCOMPARE(exchange(setInternet, 1), Chunks{error});
    control("set error off");
    QCOMPARE(exchange("AT+CGDCONT?\r", 1), Chunks{ok}); // it was not carried out
}

void VirtualPhoneTest::errorToSome()
{
    start();
    control("set error at+cgdcont");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(exchange(setInternet, 1), Chunks{error});
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneTest::unplugInTheMiddleOfACommand()
{
    start();
    control("set unplug-on at+cgd");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QVERIFY(m_line->write("AT+CG"));
    QTRY_COMPARE(statusField("received"), QString("8"));
    QVERIFY(QFile::exists(m_options.busDirectory + "/socket1.json"));
    QVERIFY(m_line->write("DCO"));
    QVERIFY(m_line->waitForHangUp());
    QVERIFY(!QFile::exists(m_options.busDirectory + "/socket1.json"));
    QVERIFY(control("status").startsWith("ok unplugged"));
    QCOMPARE(m_line->readChunk(), QByteArray());
    // It happens once, and the command begun is forgotten.
    QVERIFY(control("plug 2").startsWith("ok plugged into socket 2 as /dev/pts/"));
    open();
    QCOMPARE(exchange("AT+CGDCONT=?\r", 2).last(), ok);
}

void VirtualPhoneTest::unknownSetting()
{
    start();
    QVERIFY(control("set politeness on").startsWith("error: there is no setting \"politeness\""));
    QCOMPARE(control("set delay soon"),
             QString("error: \"soon\" is no value for delay; it takes MILLISECONDS"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::unplugHangsUp()
{
    start();
    connectToInternet();
    QCOMPARE(control("unplug"), QString("ok unplugged"));
    QVERIFY(!QFile::exists(m_options.busDirectory + "/socket1.json"));
    QVERIFY(m_line->waitForHangUp());
    QCOMPARE(m_phone->ttyName(), QString());
    QCOMPARE(control("unplug"), QString("error: not plugged in"));
    QCOMPARE(control("drop"), QString("error: there is no connection"));
    m_line.reset();
    QVERIFY(control("plug").startsWith("ok plugged into socket 1 as /dev/pts/"));
    open();
    QCOMPARE(statusField("carrier"), QString("no"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::plugIntoAnotherSocket()
{
    start();
    QCOMPARE(control("plug 2"), QString("error: already plugged into socket 1"));
    control("unplug");
    // With the old port still open the new one has another name.
    const QString answer = control("plug 7");
    QCOMPARE(answer, "ok plugged into socket 7 as " + m_phone->ttyName());
    QVERIFY(!QFile::exists(m_options.busDirectory + "/socket1.json"));
    QCOMPARE(busRecord(7).value("tty").toString(), m_phone->ttyName());
    open();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("unplug");
    QVERIFY(control("plug").startsWith("ok plugged into socket 7"));
}

void VirtualPhoneTest::contextsSurviveUnplugging()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(exchange("ATE0\r", 2).last(), ok);
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    control("unplug");
    control("plug");
    open();
    QCOMPARE(exchange("ATD*99#\r", 2), (Chunks{"ATD*99#\r", connected}));
}

void VirtualPhoneTest::busFile()
{
    m_options.product = "Tolvane Modem Driver";
    m_options.socket = 3;
    start();
    const QJsonObject record = busRecord(3);
    QCOMPARE(record.size(), 5);
    QCOMPARE(record.value("product").toString(), QString("Tolvane Modem Driver"));
    QCOMPARE(record.value("tty").toString(), m_phone->ttyName());
    QCOMPARE(record.value("pid").toDouble(), double(QCoreApplication::applicationPid()));
    QVERIFY(!QUuid(record.value("plugId").toString()).isNull());
    QCOMPARE(record.value("carrier"), QJsonValue(false));
    connectToInternet();
    QJsonObject expected = record;
    expected.insert("carrier", true);
    QCOMPARE(busRecord(3), expected);
    QCOMPARE(QDir(m_options.busDirectory).entryList(QDir::Files), QStringList{"socket3.json"});
    m_phone.reset();
    QCOMPARE(QDir(m_options.busDirectory).entryList(QDir::Files | QDir::Hidden), QStringList());
}

void VirtualPhoneTest::replugHasNewId()
{
    start();
    const QString before = busRecord().value("plugId").toString();
    control("unplug");
    control("plug");
    QVERIFY(!busRecord().isEmpty());
    QVERIFY(busRecord().value("plugId").toString() != before);
}

void VirtualPhoneTest::occupiedSocket()
{
    start();
    VirtualPhoneThread second(m_options);
    QString message;
    QCOMPARE(second.start(&message), QString());
    QCOMPARE(message, QString("another phone (process %1) is plugged into socket 1 of %2")
                          .arg(QCoreApplication::applicationPid())
                          .arg(m_options.busDirectory));
    QVERIFY(second.control("status").startsWith("ok unplugged"));
    QVERIFY(second.control("plug 2").startsWith("ok plugged into socket 2"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QVERIFY(busRecord(1).value("tty") != busRecord(2).value("tty"));
}

void VirtualPhoneTest::staleFileIsReplaced()
{
    QVERIFY(QDir().mkpath(m_options.busDirectory));
    QFile file(m_options.busDirectory + "/socket1.json");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"product\": \"USB Modem Driver\", \"tty\": \"/dev/pts/999999\"");
    file.close();
    start();
    QCOMPARE(busRecord().value("tty").toString(), m_phone->ttyName());
}

void VirtualPhoneTest::unusableBus()
{
    m_options.busDirectory = m_directory->filePath("file/usb");
    QFile file(m_directory->filePath("file"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    VirtualPhoneThread phone(m_options);
    QString message;
    QCOMPARE(phone.start(&message), QString());
    QCOMPARE(message, "cannot make the bus directory " + m_options.busDirectory);
}

void VirtualPhoneTest::controlAnswers_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("answer");
    const QString commands = "plug, unplug, status, drop, set, accept-apn, quit";
    QTest::newRow("unknown") << "dance"
                             << "error: unknown command \"dance\"; there are: " + commands;
    QTest::newRow("empty") << ""
                           << "error: unknown command \"\"; there are: " + commands;
    QTest::newRow("too much") << "unplug now"
                              << "error: unplug takes nothing more";
    QTest::newRow("no socket") << "plug x"
                               << "error: \"x\" is no socket; they are numbered 1 to 99";
    QTest::newRow("socket 0") << "plug 0"
                              << "error: \"0\" is no socket; they are numbered 1 to 99";
    QTest::newRow("no name") << "accept-apn"
                             << "error: accept-apn takes one name or more";
    QTest::newRow("only commas") << "accept-apn , ,"
                                 << "error: accept-apn takes one name or more";
    QTest::newRow("names") << "accept-apn a b,c"
                           << "ok accepted: a,b,c";
    QTest::newRow("blanks around") << "  drop  "
                                   << "error: there is no connection";
}

void VirtualPhoneTest::controlAnswers()
{
    QFETCH(QString, command);
    QFETCH(QString, answer);
    start();
    QCOMPARE(control(command), answer);
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneTest::statusTellsEverything()
{
    start();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("status"),
             QString("ok plugged socket=1 tty=%1 port=open state=command carrier=no received=3 "
                     "sent=6 data=0 apns=internet,blweb,gpinternet")
                 .arg(m_phone->ttyName()));
    control("unplug");
    QCOMPARE(control("status"), QString("ok unplugged apns=internet,blweb,gpinternet"));
}

void VirtualPhoneTest::transcript()
{
    start();
    const QString tty = m_phone->ttyName();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("set noise \\0");
    QCOMPARE(exchange(setInternet, 2).last(), ok);
    QCOMPARE(exchange("ATD*99#\r", 2).last(), connected);
    control("unplug");
    QList<QByteArray> lines = transcriptText().split('\n');
    QCOMPARE(lines.takeLast(), QByteArray());
    const QRegularExpression stamps(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{6}Z (\\d+\\.\\d{6}) (.*)$");
    QStringList entries;
    double last = 0;
    for (const QByteArray &line : lines) {
        const QRegularExpressionMatch match = stamps.match(QString::fromUtf8(line));
        QVERIFY2(match.hasMatch(), line.constData());
        QVERIFY(match.captured(1).toDouble() >= last);
        last = match.captured(1).toDouble();
        entries += match.captured(2);
    }
    QCOMPARE(entries,
             (QStringList{"phone plugged into socket 1 as " + tty, "phone the PC opens the port",
                          "pc->phone 3 \"AT\\r\"", "phone->pc 6 \"\\r\\nOK\\r\\n\"",
                          "phone set noise \\0",
                          "pc->phone 29 \"AT+CGDCONT=1,\\\"IP\\\",\\\"internet\\\"\\r\"",
                          "phone->pc 1 \"\\x00\"", "phone->pc 6 \"\\r\\nOK\\r\\n\"",
                          "pc->phone 8 \"ATD*99#\\r\"", "phone carrier on", "phone->pc 1 \"\\x00\"",
                          "phone->pc 11 \"\\r\\nCONNECT\\r\\n\"", "phone unplugged"}));
}

void VirtualPhoneTest::unwritableTranscript()
{
    m_options.transcriptFile = m_directory->filePath("missing/transcript");
    VirtualPhoneThread phone(m_options);
    QString message;
    QCOMPARE(phone.start(&message), QString());
    QVERIFY2(message.startsWith("cannot write the transcript " + m_options.transcriptFile + ": "),
             qPrintable(message));
}

QTEST_GUILESS_MAIN(VirtualPhoneTest)
#include "virtualphone_test.moc"
