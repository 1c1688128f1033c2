#include "virtualphone/escapedetector.h"

#include <QTest>

using namespace virtualphone;

class EscapeDetectorTest : public QObject
{
    Q_OBJECT

private slots:
    void escapes_data();
    void escapes();
    void remainingTime();
};

using Feed = QPair<int, QByteArray>; // when, and what

void EscapeDetectorTest::escapes_data()
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

void EscapeDetectorTest::escapes()
{
    QFETCH(QList<Feed>, feeds);
    QFETCH(bool, isArmed);
    EscapeDetector detector(100);
    detector.start(0);
    for (const Feed &feed : feeds)
        detector.feed(feed.second, feed.first);
    QCOMPARE(detector.isArmed(), isArmed);
}

void EscapeDetectorTest::remainingTime()
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

QTEST_GUILESS_MAIN(EscapeDetectorTest)
#include "escapedetector_test.moc"
