#include "platform/atline/resultcode.h"

#include <QTest>

using atline::ResultCode;

Q_DECLARE_METATYPE(atline::ResultCode)

class ResultCodeTest : public QObject
{
    Q_OBJECT

private slots:
    void linesAreUnderstood_data();
    void linesAreUnderstood();
};

void ResultCodeTest::linesAreUnderstood_data()
{
    QTest::addColumn<ResultCode>("code");
    QTest::addColumn<bool>("fails");
    QTest::newRow("OK") << ResultCode::Ok << false;
    QTest::newRow("CONNECT") << ResultCode::Connect << false;
    QTest::newRow("CONNECT 115200") << ResultCode::Connect << false;
    QTest::newRow("NO CARRIER") << ResultCode::NoCarrier << true;
    QTest::newRow("BUSY") << ResultCode::Busy << true;
    QTest::newRow("NO ANSWER") << ResultCode::NoAnswer << true;
    QTest::newRow("NO DIALTONE") << ResultCode::NoDialtone << true;
    QTest::newRow("NO DIAL TONE") << ResultCode::NoDialtone << true;
    QTest::newRow("ERROR") << ResultCode::Error << true;
    QTest::newRow("+CME ERROR: 30") << ResultCode::Error << true;
    QTest::newRow("+CMS ERROR: 500") << ResultCode::Error << true;
    for (const char *other : {"", "AT", "OKAY", "OK\r", " OK", "RING", "+CREG: 1", "NO CARRIERS",
                              "ERRORS", "no carrier", "0"})
        QTest::newRow(other) << ResultCode::None << false;
}

void ResultCodeTest::linesAreUnderstood()
{
    QFETCH(ResultCode, code);
    QFETCH(bool, fails);
    const ResultCode found = atline::resultCode(QTest::currentDataTag());
    QCOMPARE(found, code);
    QCOMPARE(atline::isFailure(found), fails);
}

QTEST_APPLESS_MAIN(ResultCodeTest)
#include "resultcode_test.moc"
