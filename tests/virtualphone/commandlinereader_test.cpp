#include "virtualphone/commandlinereader.h"

#include <QTest>

using namespace virtualphone;

class CommandLineReaderTest : public QObject
{
    Q_OBJECT

private slots:
    void cutsLines_data();
    void cutsLines();
    void joinsPieces();
    void leavesTheNextLine();
    void reportsTheLineSoFar();
    void overlongLine();
    void escapes_data();
    void escapes();
    void remainingTime();
};

void CommandLineReaderTest::cutsLines_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("plain") << QByteArray("AT\r") << QByteArray("AT");
    QTest::newRow("empty") << QByteArray("\r") << QByteArray();
    QTest::newRow("line feed before") << QByteArray("\nATI\r") << QByteArray("ATI");
    QTest::newRow("control characters") << QByteArray("A\0T\x1B\tE0\r", 8) << QByteArray("ATE0");
    QTest::newRow("backspace") << QByteArray("ATE1\b0\r") << QByteArray("ATE0");
    QTest::newRow("backspace at the start") << QByteArray("\b\bAT\r") << QByteArray("AT");
    QTest::newRow("something before") << QByteArray("+++ath\r") << QByteArray("ath");
    QTest::newRow("no command") << QByteArray("hello\r") << QByteArray();
}

void CommandLineReaderTest::cutsLines()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, line);
    CommandLineReader reader;
    const QByteArray everything = input;
    const CommandLineReader::Taken taken = reader.take(&input);
    QVERIFY(taken.isComplete);
    QVERIFY(!taken.isTooLong);
    QCOMPARE(taken.line, line);
    QCOMPARE(taken.bytes, everything);
    QVERIFY(input.isEmpty());
}

void CommandLineReaderTest::joinsPieces()
{
    CommandLineReader reader;
    for (const QByteArray piece : {"A", "T+C", "SQ"}) {
        QByteArray input = piece;
        const CommandLineReader::Taken taken = reader.take(&input);
        QVERIFY(!taken.isComplete);
        QCOMPARE(taken.bytes, piece);
    }
    QByteArray input = "\r";
    QCOMPARE(reader.take(&input).line, QByteArray("AT+CSQ"));
}

void CommandLineReaderTest::leavesTheNextLine()
{
    CommandLineReader reader;
    QByteArray input = "AT\rATI\rAT";
    QCOMPARE(reader.take(&input).line, QByteArray("AT"));
    QCOMPARE(input, QByteArray("ATI\rAT"));
    QCOMPARE(reader.take(&input).line, QByteArray("ATI"));
    QVERIFY(!reader.take(&input).isComplete);
    QVERIFY(input.isEmpty());
}

void CommandLineReaderTest::reportsTheLineSoFar()
{
    CommandLineReader reader;
    QByteArray input = "xxAT+CG";
    reader.take(&input);
    QCOMPARE(reader.partialLine(), QByteArray("AT+CG"));
    reader.reset();
    QCOMPARE(reader.partialLine(), QByteArray());
}

void CommandLineReaderTest::overlongLine()
{
    CommandLineReader reader;
    QByteArray input = "AT" + QByteArray(MaximumLineLength - 2, 'x') + '\r';
    QVERIFY(!reader.take(&input).isTooLong);
    input = "AT" + QByteArray(MaximumLineLength - 1, 'x') + "\rAT\r";
    const CommandLineReader::Taken taken = reader.take(&input);
    QVERIFY(taken.isTooLong);
    QVERIFY(!taken.line.isEmpty());
    const CommandLineReader::Taken next = reader.take(&input);
    QVERIFY(!next.isTooLong);
    QCOMPARE(next.line, QByteArray("AT"));
}

using Feed = QPair<int, QByteArray>; // when, and what

void CommandLineReaderTest::escapes_data()
{
    QTest::addColumn<QList<Feed>>("feeds"); // data state begins at 0, the guard time is 100
    QTest::addColumn<bool>("isArmed");
    QTest::newRow("in one") << QList<Feed>{{100, "+++"}} << true;
    QTest::newRow("one by one") << QList<Feed>{{150, "+"}, {160, "+"}, {170, "+"}} << true;
    QTest::newRow("after data") << QList<Feed>{{10, "data"}, {110, "+++"}} << true;
    QTest::newRow("too early") << QList<Feed>{{99, "+++"}} << false;
    QTest::newRow("too early after data") << QList<Feed>{{200, "data"}, {299, "+++"}} << false;
    QTest::newRow("with data") << QList<Feed>{{200, "+++x"}} << false;
    QTest::newRow("data straight after") << QList<Feed>{{200, "+++"}, {250, "x"}} << false;
    QTest::newRow("four") << QList<Feed>{{200, "++++"}} << false;
    QTest::newRow("a fourth") << QList<Feed>{{200, "+++"}, {210, "+"}} << false;
    QTest::newRow("two") << QList<Feed>{{200, "++"}} << false;
    QTest::newRow("one and two with a pause") << QList<Feed>{{200, "+"}, {300, "++"}} << false;
    QTest::newRow("again after a failure") << QList<Feed>{{10, "+++"}, {110, "+++"}} << true;
}

void CommandLineReaderTest::escapes()
{
    QFETCH(QList<Feed>, feeds);
    QFETCH(bool, isArmed);
    EscapeDetector detector(100);
    detector.start(0);
    for (const Feed &feed : feeds)
        detector.feed(feed.second, feed.first);
    QCOMPARE(detector.isArmed(), isArmed);
}

void CommandLineReaderTest::remainingTime()
{
    EscapeDetector detector(100);
    detector.start(0);
    detector.feed("+++", 200);
    QCOMPARE(detector.remainingMs(200), 100);
    QCOMPARE(detector.remainingMs(260), 40);
    QCOMPARE(detector.remainingMs(301), 0);
    detector.start(400);
    QVERIFY(!detector.isArmed());
}

QTEST_GUILESS_MAIN(CommandLineReaderTest)
#include "commandlinereader_test.moc"
