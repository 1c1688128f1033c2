#include "tests/virtualphone/phonetest.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QTest>
#include <QUuid>

using namespace virtualphone;

/// Plugged in and unplugged: the port, the record on the bus, what is kept.
class VirtualPhonePluggingTest : public PhoneTest
{
    Q_OBJECT

private slots:
    void unplugHangsUp();
    void plugIntoAnotherSocket();
    void contextsSurviveUnplugging();
    void busFile();
    void replugHasNewId();
    void occupiedSocket();
    void staleFileIsReplaced();
    void unusableBus();
};

void VirtualPhonePluggingTest::unplugHangsUp()
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

void VirtualPhonePluggingTest::plugIntoAnotherSocket()
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

void VirtualPhonePluggingTest::contextsSurviveUnplugging()
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

void VirtualPhonePluggingTest::busFile()
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

void VirtualPhonePluggingTest::replugHasNewId()
{
    start();
    const QString before = busRecord().value("plugId").toString();
    control("unplug");
    control("plug");
    QVERIFY(!busRecord().isEmpty());
    QVERIFY(busRecord().value("plugId").toString() != before);
}

void VirtualPhonePluggingTest::occupiedSocket()
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

void VirtualPhonePluggingTest::staleFileIsReplaced()
{
    QVERIFY(QDir().mkpath(m_options.busDirectory));
    QFile file(m_options.busDirectory + "/socket1.json");
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("{\"product\": \"USB Modem Driver\", \"tty\": \"/dev/pts/999999\"");
    file.close();
    start();
    QCOMPARE(busRecord().value("tty").toString(), m_phone->ttyName());
}

void VirtualPhonePluggingTest::unusableBus()
{
    m_options.busDirectory = m_directory->filePath("file/usb");
    QFile file(m_directory->filePath("file"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    VirtualPhoneThread phone(m_options);
    QString message;
    QCOMPARE(phone.start(&message), QString());
    QCOMPARE(message, "cannot make the bus directory " + m_options.busDirectory);
}

QTEST_GUILESS_MAIN(VirtualPhonePluggingTest)
#include "virtualphone_plugging_test.moc"
