#include "virtualphone/pluggedphone.h"

#include <QTest>

using namespace virtualphone;

class PluggedPhoneTest : public QObject
{
    Q_OBJECT

private slots:
    void isReadAsItWasWritten();
    void describesNoPhone_data();
    void describesNoPhone();
    void namesItsFile_data();
    void namesItsFile();
};

void PluggedPhoneTest::isReadAsItWasWritten()
{
    const PluggedPhone written{"USB Modem Driver", "/dev/pts/7", "an-id", true, 4194304};
    PluggedPhone read;
    QVERIFY(read.fromJson(written.toJson()));
    QCOMPARE(read.product, written.product);
    QCOMPARE(read.tty, written.tty);
    QCOMPARE(read.plugId, written.plugId);
    QCOMPARE(read.carrier, true);
    QCOMPARE(read.processId, written.processId);
}

void PluggedPhoneTest::describesNoPhone_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("cut off") << QByteArray("{\"product\": \"a\", \"tty\": \"b\", \"plugId\"");
    QTest::newRow("a list") << QByteArray("[\"product\", \"tty\", \"plugId\"]");
    QTest::newRow("no product") << QByteArray("{\"tty\": \"b\", \"plugId\": \"c\"}");
    QTest::newRow("no device") << QByteArray("{\"product\": \"a\", \"plugId\": \"c\"}");
    QTest::newRow("no id") << QByteArray("{\"product\": \"a\", \"tty\": \"b\"}");
    QTest::newRow("a number") << QByteArray("{\"product\": 1, \"tty\": \"b\", \"plugId\": \"c\"}");
}

void PluggedPhoneTest::describesNoPhone()
{
    QFETCH(QByteArray, json);
    PluggedPhone phone;
    QVERIFY(!phone.fromJson(json));
}

void PluggedPhoneTest::namesItsFile_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<int>("socket"); // 0: the name of something else
    QTest::newRow("first") << "socket1.json" << 1;
    QTest::newRow("last") << "socket99.json" << 99;
    QTest::newRow("socket 0") << "socket0.json" << 0;
    QTest::newRow("zero in front") << "socket01.json" << 0;
    QTest::newRow("no number") << "socket.json" << 0;
    QTest::newRow("being written") << "socket1.json.new" << 0;
    QTest::newRow("lock") << ".socket1.lock" << 0;
    QTest::newRow("something before it") << "xsocket1.json" << 0;
}

void PluggedPhoneTest::namesItsFile()
{
    QFETCH(QString, fileName);
    QFETCH(int, socket);
    QCOMPARE(socketOfFileName(fileName), socket);
    if (socket > 0)
        QCOMPARE(socketFileName(socket), fileName);
}

QTEST_GUILESS_MAIN(PluggedPhoneTest)
#include "pluggedphone_test.moc"
