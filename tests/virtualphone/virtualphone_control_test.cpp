#include "tests/virtualphone/phonetest.h"

#include <QRegularExpression>
#include <QTest>

using namespace virtualphone;

/// What the phone tells of itself: control commands, status, transcript.
class VirtualPhoneControlTest : public PhoneTest
{
    Q_OBJECT

private slots:
    void controlAnswers_data();
    void controlAnswers();
    void statusTellsEverything();
    void transcript();
    void unwritableTranscript();
};

void VirtualPhoneControlTest::controlAnswers_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QString>("answer");
    const QString commands =
        "plug, unplug, status, drop, set, accept-apn, registration, card, quit";
    QTest::newRow("unknown") << "dance"
                             << "error: unknown command \"dance\"; there are: " + commands;
    QTest::newRow("empty") << ""
                           << "error: unknown command \"\"; there are: " + commands;
    QTest::newRow("too much") << "unplug now"
                              << "error: unplug takes no arguments";
    QTest::newRow("no socket") << "plug x"
                               << "error: \"x\" is not a socket; sockets are numbered 1 to 99";
    QTest::newRow("socket 0") << "plug 0"
                              << "error: \"0\" is not a socket; sockets are numbered 1 to 99";
    QTest::newRow("no name") << "accept-apn"
                             << "error: accept-apn needs at least one name";
    QTest::newRow("only commas") << "accept-apn , ,"
                                 << "error: accept-apn needs at least one name";
    QTest::newRow("names") << "accept-apn a b,c"
                           << "ok accepted: a,b,c";
    QTest::newRow("blanks around") << "  drop  "
                                   << "error: there is no connection";
}

void VirtualPhoneControlTest::controlAnswers()
{
    QFETCH(QString, command);
    QFETCH(QString, answer);
    start();
    QCOMPARE(control(command), answer);
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneControlTest::statusTellsEverything()
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

void VirtualPhoneControlTest::transcript()
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
    QCOMPARE(entries, (QStringList{"phone plugged into socket 1 as " + tty,
                                   "phone the PC opens the port", "pc->phone 3 \"AT\\r\"",
                                   "phone->pc 6 \"\\r\\nOK\\r\\n\"", "phone set noise \\0",
                                   "pc->phone 29 \"AT+CGDCONT=1,\\\"IP\\\",\\\"internet\\\"\\r\"",
                                   "phone->pc 1 \"\\x00\"", "phone->pc 6 \"\\r\\nOK\\r\\n\"",
                                   "pc->phone 8 \"ATD*99#\\r\"", "phone carrier on",
                                   "phone->pc 1 \"\\x00\"", "phone->pc 11 \"\\r\\nCONNECT\\r\\n\"",
                                   "phone carrier off", "phone unplugged"}));
}

void VirtualPhoneControlTest::unwritableTranscript()
{
    m_options.transcriptFile = m_directory->filePath("missing/transcript");
    VirtualPhoneThread phone(m_options);
    QString message;
    QCOMPARE(phone.start(&message), QString());
    QVERIFY2(message.startsWith("cannot write the transcript " + m_options.transcriptFile + ": "),
             qPrintable(message));
}

QTEST_GUILESS_MAIN(VirtualPhoneControlTest)
#include "virtualphone_control_test.moc"
