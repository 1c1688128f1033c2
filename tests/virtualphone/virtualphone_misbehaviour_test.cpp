#include "tests/virtualphone/phonetest.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTest>

using namespace virtualphone;

/// A phone that departs from the orderly exchange, as its settings tell it to.
class VirtualPhoneMisbehaviourTest : public PhoneTest
{
    Q_OBJECT

private slots:
    void echoGlued();
    void echoGluedWithoutAnswer();
    void answerSplit();
    void linesJoined();
    void answersJoined();
    void joinedAnswerIsNotKeptForAnEmptyLine();
    void twoAnswersToOneCommand();
    void noise_data();
    void noise();
    void delay();
    void silent();
    void silentWhileACommandIsPending();
    void errorToEverything();
    void errorToSome();
    void unplugInTheMiddleOfACommand();
    void unknownSetting();
};

void VirtualPhoneMisbehaviourTest::echoGlued()
{
    m_options.misbehaviour.echo = EchoMode::Glued;
    start();
    QCOMPARE(exchange("AT\r", 1), Chunks{"AT\r\r\nOK\r\n"});
    QCOMPARE(exchange("ATI\r", 2), (Chunks{"ATI\r\r\nVirtual Phone GPRS modem\r\n", ok}));
    QCOMPARE(exchange("AT\rAT+X\r", 2), (Chunks{"AT\r\r\nOK\r\n", "AT+X\r\r\nERROR\r\n"}));
    QCOMPARE(exchange("ATE0\r", 1), Chunks{"ATE0\r\r\nOK\r\n"});
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(control("set echo glued"), QString("ok echo glued"));
    QCOMPARE(exchange("AT\r", 1), Chunks{"AT\r\r\nOK\r\n"});
    QCOMPARE(control("set echo on"), QString("ok echo on"));
    QCOMPARE(exchange("AT\r", 2), (Chunks{"AT\r", ok}));
    QCOMPARE(control("set echo off"), QString("ok echo off"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::echoGluedWithoutAnswer()
{
    m_options.misbehaviour.echo = EchoMode::Glued;
    start();
    QCOMPARE(exchange("ATQ1\r", 1), Chunks{"ATQ1\r"});
    QCOMPARE(exchange("\r", 1), Chunks{"\r"});
}

void VirtualPhoneMisbehaviourTest::answerSplit()
{
    m_options.misbehaviour.splitAfter = 3;
    start();
    QCOMPARE(exchange("AT\r", 2), (Chunks{"\r\nO", "K\r\n"}));
    QCOMPARE(exchange("AT+X\r", 2), (Chunks{"\r\nE", "RROR\r\n"}));
    QCOMPARE(exchange("AT+CSQ\r", 3), (Chunks{"\r\n+CSQ: 21,99\r\n", "\r\nO", "K\r\n"}));
    control("set split 6"); // nothing is left for a second chunk
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("set split 0");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::linesJoined()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT+CSQ\r", 1), Chunks{"\r\n+CSQ: 21,99\r\n\r\nOK\r\n"});
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    control("set join off");
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneMisbehaviourTest::answersJoined()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT\rAT+CSQ\rAT+X\r", 1), Chunks{ok + "\r\n+CSQ: 21,99\r\n" + ok + error});
}

void VirtualPhoneMisbehaviourTest::joinedAnswerIsNotKeptForAnEmptyLine()
{
    m_options.misbehaviour.join = true;
    start();
    QCOMPARE(exchange("AT\r\r", 1), Chunks{ok});
    QCOMPARE(exchange("ATQ1\rAT\rATQ0\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::twoAnswersToOneCommand()
{
    start();
    QCOMPARE(control("set glue \\r\\nOK\\r\\n"), QString("ok glue \\r\\nOK\\r\\n"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok + ok});
    QCOMPARE(control("set glue off"), QString("ok glue off"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::noise_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("chunk");
    QTest::newRow("line") << "\\r\\nRING\\r\\n" << QByteArray("\r\nRING\r\n");
    QTest::newRow("nul") << "\\0" << QByteArray(1, '\0');
    QTest::newRow("nul behind an answer") << "\\r\\nOK\\r\\n\\0x" << QByteArray("\r\nOK\r\n\0x", 8);
    QTest::newRow("100 bytes") << QString(100, 'x') << QByteArray(100, 'x');
    QTest::newRow("blanks") << "a b  c" << QByteArray("a b  c");
}

void VirtualPhoneMisbehaviourTest::noise()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, chunk);
    start();
    QCOMPARE(control("set noise " + text), "ok noise " + text);
    QCOMPARE(exchange("AT\r", 2), (Chunks{chunk, ok}));
    QCOMPARE(exchange("AT+CSQ\r", 3), (Chunks{chunk, "\r\n+CSQ: 21,99\r\n", ok}));
    control("set noise off");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::delay()
{
    start();
    control("set delay 150");
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QVERIFY(clock.elapsed() >= 149);
    control("set delay 0");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

void VirtualPhoneMisbehaviourTest::silent()
{
    m_options.misbehaviour.echo = EchoMode::On;
    start();
    QCOMPARE(control("set silent on"), QString("ok silent on"));
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("received"), QString("3"));
    QVERIFY(m_line->write("AT+CSQ\r"));
    QTRY_COMPARE(statusField("received"), QString("10"));
    QCOMPARE(statusField("sent"), QString("0"));
    QVERIFY(!m_line->hasInput());
    QCOMPARE(control("set silent off"), QString("ok silent off"));
    QCOMPARE(m_line->readChunks(5), (Chunks{"AT\r", ok, "AT+CSQ\r", "\r\n+CSQ: 21,99\r\n", ok}));
    // It said nothing before it was allowed to.
    const QByteArray text = transcriptText();
    QVERIFY(text.indexOf("phone->pc") > text.indexOf("set silent off"));
}

void VirtualPhoneMisbehaviourTest::silentWhileACommandIsPending()
{
    start();
    control("set delay 50");
    QVERIFY(m_line->write("AT\r"));
    QTRY_COMPARE(statusField("received"), QString("3"));
    control("set silent on");
    QElapsedTimer clock;
    clock.start();
    QTRY_VERIFY(clock.elapsed() > 100);
    QCOMPARE(statusField("sent"), QString("0"));
    control("set silent off");
    QCOMPARE(m_line->readChunk(), ok);
}

void VirtualPhoneMisbehaviourTest::errorToEverything()
{
    start();
    control("set error all");
    QCOMPARE(exchange("AT\r", 1), Chunks{error});
    QCOMPARE(exchange(setInternet, 1), Chunks{error});
    control("set error off");
    QCOMPARE(exchange("AT+CGDCONT?\r", 1), Chunks{ok}); // it was not carried out
}

void VirtualPhoneMisbehaviourTest::errorToSome()
{
    start();
    control("set error at+cgdcont");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QCOMPARE(exchange(setInternet, 1), Chunks{error});
    QCOMPARE(exchange("AT+CSQ\r", 2), (Chunks{"\r\n+CSQ: 21,99\r\n", ok}));
}

void VirtualPhoneMisbehaviourTest::unplugInTheMiddleOfACommand()
{
    start();
    control("set unplug-on at+cgd");
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
    QVERIFY(m_line->write("AT+CG"));
    QTRY_COMPARE(statusField("received"), QString("8"));
    QVERIFY(QFile::exists(m_options.busDirectory + "/socket1.json"));
    QVERIFY(m_line->write("DCO"));
    QVERIFY(m_line->waitForHangUp());
    QVERIFY(!QFile::exists(m_options.busDirectory + "/socket1.json"));
    QVERIFY(control("status").startsWith("ok unplugged"));
    QCOMPARE(m_line->readChunk(), QByteArray());
    // It happens once, and the command begun is forgotten.
    QVERIFY(control("plug 2").startsWith("ok plugged into socket 2 as /dev/pts/"));
    open();
    QCOMPARE(exchange("AT+CGDCONT=?\r", 2).last(), ok);
}

void VirtualPhoneMisbehaviourTest::unknownSetting()
{
    start();
    QVERIFY(control("set politeness on").startsWith("error: there is no setting \"politeness\""));
    QCOMPARE(control("set delay soon"),
             QString("error: \"soon\" is not a value for delay; it takes MILLISECONDS"));
    QCOMPARE(exchange("AT\r", 1), Chunks{ok});
}

QTEST_GUILESS_MAIN(VirtualPhoneMisbehaviourTest)
#include "virtualphone_misbehaviour_test.moc"
