#include "tests/virtualphone/phonetest.h"

#include <QFile>
#include <QJsonDocument>
#include <QTest>

using namespace virtualphone;

void PhoneTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    m_options = {};
    m_options.busDirectory = m_directory->filePath("pc/usb");
    m_options.transcriptFile = m_directory->filePath("transcript");
    m_options.guardTimeMs = 60;
    m_options.misbehaviour.delayMs = 1;
    m_options.misbehaviour.echo = EchoMode::Off;
}

void PhoneTest::cleanup()
{
    m_line.reset();
    m_phone.reset();
    m_directory.reset();
}

void PhoneTest::start()
{
    m_phone = std::make_unique<VirtualPhoneThread>(m_options);
    QString message;
    const QString tty = m_phone->start(&message);
    QCOMPARE(message, QString());
    QVERIFY(tty.startsWith("/dev/pts/"));
    open();
}

void PhoneTest::open()
{
    m_line = std::make_unique<SerialLine>(m_phone->ttyName());
    QVERIFY(m_line->isOpen());
}

Chunks PhoneTest::exchange(const QByteArray &bytes, int chunks)
{
    return m_line->write(bytes) ? m_line->readChunks(chunks) : Chunks();
}

QString PhoneTest::statusField(const QString &name)
{
    for (const QString &field : control("status").split(' ')) {
        if (field.startsWith(name + '='))
            return field.section('=', 1);
    }
    return {};
}

void PhoneTest::connectToInternet()
{
    QCOMPARE(exchange(setInternet, 1), Chunks{ok});
    QCOMPARE(exchange("ATD*99#\r", 1), Chunks{connected});
}

QJsonObject PhoneTest::busRecord(int socket) const
{
    QFile file(QString("%1/socket%2.json").arg(m_options.busDirectory).arg(socket));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

QByteArray PhoneTest::transcriptText() const
{
    QFile file(m_options.transcriptFile);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
