#include "tests/platform/posix_pty.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

#include <memory>

/// DialPhone as pppd starts it: the line is its standard input and output, the number
/// comes in the environment.
class DialPhoneTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void aNumberThatCannotBeDialledIsRefused_data();
    void aNumberThatCannotBeDialledIsRefused();
    void thePhoneIsDialled_data();
    void thePhoneIsDialled();
    void whatCannotBeShownIsNotPassedOn();
    void aLineThatHangsUpIsTold();

private:
    void start(const QString &variable, const QString &number);
    /// What it said, line by line, after its end.
    QStringList end();
    /// Whether the phone was told this.
    bool hears(const QByteArray &command);

    std::unique_ptr<Pty> m_line;
    QProcess m_program;
};

void DialPhoneTest::init()
{
    m_line = std::make_unique<Pty>();
}

void DialPhoneTest::start(const QString &variable, const QString &number)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(variable, number);
    m_program.setProcessEnvironment(environment);
    m_program.setStandardInputFile(m_line->node());
    m_program.setStandardOutputFile(m_line->node());
    m_program.start(QCoreApplication::applicationDirPath() + "/DialPhone", QStringList());
}

QStringList DialPhoneTest::end()
{
    m_program.waitForFinished();
    return QString::fromLatin1(m_program.readAllStandardError()).split('\n', Qt::SkipEmptyParts);
}

bool DialPhoneTest::hears(const QByteArray &command)
{
    return m_line->receive(static_cast<int>(command.size())) == command;
}

void DialPhoneTest::aNumberThatCannotBeDialledIsRefused_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QString>("number");
    QTest::newRow("none") << "DIAL_NOTHING"
                          << "*99#";
    QTest::newRow("no number") << "DIAL_NUMBER"
                               << "1\rATZ";
    QTest::newRow("an entry without one") << "DIAL_ENTRY_NUMBER"
                                          << "";
}

void DialPhoneTest::aNumberThatCannotBeDialledIsRefused()
{
    QFETCH(QString, variable);
    QFETCH(QString, number);
    start(variable, number);
    QCOMPARE(end(), QStringList("DialPhone: there is no number that can be dialled"));
    QCOMPARE(m_program.exitCode(), 1);
}

void DialPhoneTest::thePhoneIsDialled_data()
{
    QTest::addColumn<QString>("variable");
    QTest::addColumn<QByteArray>("answer");
    QTest::addColumn<QString>("told");
    QTest::addColumn<int>("exitCode");
    QTest::newRow("connected") << "DIAL_NUMBER" << QByteArray("CONNECT 460800\r\n") << "connected"
                               << 0;
    QTest::newRow("the entry's number")
        << "DIAL_ENTRY_NUMBER" << QByteArray("CONNECT\r\n") << "connected" << 0;
    QTest::newRow("busy") << "DIAL_NUMBER" << QByteArray("BUSY\r\n") << "failed BUSY" << 4;
}

void DialPhoneTest::thePhoneIsDialled()
{
    QFETCH(QString, variable);
    QFETCH(QByteArray, answer);
    QFETCH(QString, told);
    start(variable, "*99#");
    QVERIFY(hears("AT\r"));
    m_line->send("OK\r\n");
    QVERIFY(hears("ATD*99#\r"));
    m_line->send(answer);
    const QStringList said = end();
    QCOMPARE(said.first(), QString("DialPhone: dialling *99#"));
    QCOMPARE(said.last(), "DialPhone: " + told);
    QTEST(m_program.exitCode(), "exitCode");
}

void DialPhoneTest::whatCannotBeShownIsNotPassedOn()
{
    start("DIAL_NUMBER", "*99#");
    QVERIFY(hears("AT\r"));
    m_line->send("\x1b[2J\xff\r\nOK\r\n");
    QVERIFY(hears("ATD*99#\r"));
    m_line->send("CONNECT\r\n");
    const QStringList said = end();
    QVERIFY2(said.contains("DialPhone: line ?[2J?"), qPrintable(said.join('|')));
}

// Its SIGHUP would end the program before it says why.
void DialPhoneTest::aLineThatHangsUpIsTold()
{
    start("DIAL_NUMBER", "*99#");
    QVERIFY(hears("AT\r"));
    m_line->hangUp();
    const QStringList said = end();
    QCOMPARE(m_program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(m_program.exitCode(), 4);
    QVERIFY2(said.last().startsWith("DialPhone: failed "), qPrintable(said.join('|')));
}

QTEST_GUILESS_MAIN(DialPhoneTest)
#include "dialphone_test.moc"
