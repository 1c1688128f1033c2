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
    void charactersCanBeChosen();
    void repeatsTheLineBefore_data();
    void repeatsTheLineBefore();
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
    const CommandLineReader::Taken taken = reader.take(&input, {});
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
        const CommandLineReader::Taken taken = reader.take(&input, {});
        QVERIFY(!taken.isComplete);
        QCOMPARE(taken.bytes, piece);
    }
    QByteArray input = "\r";
    QCOMPARE(reader.take(&input, {}).line, QByteArray("AT+CSQ"));
}

void CommandLineReaderTest::leavesTheNextLine()
{
    CommandLineReader reader;
    QByteArray input = "AT\rATI\rAT";
    QCOMPARE(reader.take(&input, {}).line, QByteArray("AT"));
    QCOMPARE(input, QByteArray("ATI\rAT"));
    QCOMPARE(reader.take(&input, {}).line, QByteArray("ATI"));
    QVERIFY(!reader.take(&input, {}).isComplete);
    QVERIFY(input.isEmpty());
}

void CommandLineReaderTest::reportsTheLineSoFar()
{
    CommandLineReader reader;
    QByteArray input = "xxAT+CG";
    reader.take(&input, {});
    QCOMPARE(reader.partialLine(), QByteArray("AT+CG"));
    reader.reset();
    QCOMPARE(reader.partialLine(), QByteArray());
}

void CommandLineReaderTest::overlongLine()
{
    CommandLineReader reader;
    QByteArray input = "AT" + QByteArray(MaximumLineLength - 2, 'x') + '\r';
    QVERIFY(!reader.take(&input, {}).isTooLong);
    input = "AT" + QByteArray(MaximumLineLength - 1, 'x') + "\rAT\r";
    const CommandLineReader::Taken taken = reader.take(&input, {});
    QVERIFY(taken.isTooLong);
    QVERIFY(!taken.line.isEmpty());
    const CommandLineReader::Taken next = reader.take(&input, {});
    QVERIFY(!next.isTooLong);
    QCOMPARE(next.line, QByteArray("AT"));
}

// V.250 6.2.1 and 6.2.3
void CommandLineReaderTest::charactersCanBeChosen()
{
    CommandLineReader reader;
    QByteArray input = "AT\rE1#0!AT\r";
    const CommandLineReader::Taken taken = reader.take(&input, {'!', '#'});
    QVERIFY(taken.isComplete);
    QCOMPARE(taken.line, QByteArray("ATE0"));
    QCOMPARE(input, QByteArray("AT\r"));
}

// V.250 5.2.4
void CommandLineReaderTest::repeatsTheLineBefore_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QList<QByteArray>>("lines");
    using Lines = QList<QByteArray>;
    QTest::newRow("at once") << QByteArray("AT+CSQ\rA/") << Lines{"AT+CSQ", "AT+CSQ"};
    QTest::newRow("small") << QByteArray("at+csq\ra/") << Lines{"at+csq", "at+csq"};
    QTest::newRow("with an end") << QByteArray("ATI\rA/\rATE1\r")
                                 << Lines{"ATI", "ATI", "", "ATE1"};
    QTest::newRow("twice") << QByteArray("ATI\rA/A/") << Lines{"ATI", "ATI", "ATI"};
    QTest::newRow("in pieces") << QByteArray("ATI\r\nA\n/") << Lines{"ATI", "ATI"};
    QTest::newRow("nothing to repeat") << QByteArray("A/") << Lines{""};
    QTest::newRow("within a command") << QByteArray("AT+X=A/\r") << Lines{"AT+X=A/"};
    QTest::newRow("after what was no command")
        << QByteArray("ATI\rhello\rA/") << Lines{"ATI", "", "ATI"};
}

void CommandLineReaderTest::repeatsTheLineBefore()
{
    QFETCH(QByteArray, input);
    QFETCH(QList<QByteArray>, lines);
    CommandLineReader reader;
    QList<QByteArray> taken;
    while (!input.isEmpty()) {
        const CommandLineReader::Taken each = reader.take(&input, {});
        if (each.isComplete)
            taken += each.line;
    }
    QCOMPARE(taken, lines);
}

QTEST_GUILESS_MAIN(CommandLineReaderTest)
#include "commandlinereader_test.moc"
