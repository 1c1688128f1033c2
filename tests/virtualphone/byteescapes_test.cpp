#include "virtualphone/byteescapes.h"

#include <QTest>

using namespace virtualphone;

class ByteEscapesTest : public QObject
{
    Q_OBJECT

private slots:
    void escapesBytes();
    void unescapesBytes_data();
    void unescapesBytes();
    void refusesEscapes_data();
    void refusesEscapes();
};

void ByteEscapesTest::escapesBytes()
{
    QCOMPARE(escapeBytes(QByteArray("a \"\\\r\n\t\0\x7F\xE9~", 11)),
             QByteArray("a \\\"\\\\\\r\\n\\t\\x00\\x7F\\xE9~"));
    QByteArray all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    QByteArray back;
    QVERIFY(unescapeBytes(escapeBytes(all), &back));
    QCOMPARE(back, all);
}

void ByteEscapesTest::unescapesBytes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("plain") << QByteArray("abc") << QByteArray("abc");
    QTest::newRow("nul") << QByteArray("\\01") << QByteArray("\0001", 2);
    QTest::newRow("hex") << QByteArray("\\x41\\xfF") << QByteArray("A\xFF");
}

void ByteEscapesTest::unescapesBytes()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    QByteArray result;
    QVERIFY(unescapeBytes(text, &result));
    QCOMPARE(result, bytes);
}

void ByteEscapesTest::refusesEscapes_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *text : {"\\", "a\\", "\\q", "\\x", "\\x4", "\\xg0", "\\x+4", "\\x 4"})
        QTest::newRow(text) << QByteArray(text);
}

void ByteEscapesTest::refusesEscapes()
{
    QFETCH(QByteArray, text);
    QByteArray result = "kept";
    QVERIFY(!unescapeBytes(text, &result));
    QCOMPARE(result, QByteArray("kept"));
}

QTEST_GUILESS_MAIN(ByteEscapesTest)
#include "byteescapes_test.moc"
