#include "platform/text.h"

#include <QTest>

using namespace platform;

class TextTest : public QObject
{
    Q_OBJECT

private slots:
    void textIsCutOffAtTheBuffersEnd_data();
    void textIsCutOffAtTheBuffersEnd();
    void fieldHoldsNothingButTheText_data() { textIsCutOffAtTheBuffersEnd_data(); }
    void fieldHoldsNothingButTheText();
    void identifiersAreComparedWhole();
};

void TextTest::textIsCutOffAtTheBuffersEnd_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("held"); // in four units
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("short") << "a"
                           << "a";
    QTest::newRow("just fits") << "abc"
                               << "abc";
    QTest::newRow("as many as there are units") << "abcd"
                                                << "abc";
    QTest::newRow("long") << "abcdef"
                          << "abc";
}

void TextTest::textIsCutOffAtTheBuffersEnd()
{
    QFETCH(const QString, text);
    QFETCH(const QString, held);
    // The fifth unit lies behind the buffer.
    WCHAR buffer[5] = {0, 0, 0, 0, 'X'};
    copyToBuffer(text, buffer, 4);
    QCOMPARE(fromWide(buffer), held);
    QCOMPARE(buffer[3], WCHAR{0});
    QCOMPARE(buffer[4], WCHAR{'X'});
}

void TextTest::fieldHoldsNothingButTheText()
{
    QFETCH(const QString, text);
    QFETCH(const QString, held);
    WCHAR field[4] = {'o', 'l', 'd', '!'};
    setField(field, text);
    QCOMPARE(fromField(field), held);
    for (int i = static_cast<int>(held.size()); i < 4; ++i)
        QCOMPARE(field[i], WCHAR{0});
}

void TextTest::identifiersAreComparedWhole()
{
    const Guid one = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    QVERIFY(one == Guid(one));
    for (const Guid &other :
         {Guid{0, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, Guid{1, 0, 3, {4, 5, 6, 7, 8, 9, 10, 11}},
          Guid{1, 2, 0, {4, 5, 6, 7, 8, 9, 10, 11}}, Guid{1, 2, 3, {0, 5, 6, 7, 8, 9, 10, 11}},
          Guid{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 0}}})
        QVERIFY(!(one == other));
}

QTEST_GUILESS_MAIN(TextTest)
#include "text_test.moc"
