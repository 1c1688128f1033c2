#include "virtualphone/misbehaviour.h"

#include <QTest>

using namespace virtualphone;

class MisbehaviourTest : public QObject
{
    Q_OBJECT

private slots:
    void sets();
    void refuses_data();
    void refuses();
    void everySettingIsExplained();
    void prefixes();
};

void MisbehaviourTest::sets()
{
    Misbehaviour settings;
    QString error;
    QVERIFY(settings.set("echo", "off", &error));
    QCOMPARE(settings.echo, EchoMode::Off);
    QVERIFY(settings.set("echo", "glued", &error));
    QCOMPARE(settings.echo, EchoMode::Glued);
    QVERIFY(settings.set("echo", "on", &error));
    QCOMPARE(settings.echo, EchoMode::On);
    QVERIFY(settings.set("delay", "70", &error));
    QCOMPARE(settings.delayMs, 70);
    QVERIFY(settings.set("split", "3", &error));
    QCOMPARE(settings.splitAfter, 3);
    QVERIFY(settings.set("join", "on", &error));
    QVERIFY(settings.join);
    QVERIFY(settings.set("join", "off", &error));
    QVERIFY(!settings.join);
    QVERIFY(settings.set("silent", "on", &error));
    QVERIFY(settings.silent);
    QVERIFY(settings.set("error", "at+cgd", &error));
    QCOMPARE(settings.errorPrefix, QByteArray("AT+CGD"));
    QVERIFY(settings.set("error", "all", &error));
    QCOMPARE(settings.errorPrefix, QByteArray("*"));
    QVERIFY(settings.set("error", "off", &error));
    QCOMPARE(settings.errorPrefix, QByteArray());
    QVERIFY(settings.set("unplug-on", "atd", &error));
    QCOMPARE(settings.unplugPrefix, QByteArray("ATD"));
    QVERIFY(settings.set("noise", "a\\0b", &error));
    QCOMPARE(settings.noise, QByteArray("a\0b", 3));
    QVERIFY(settings.set("noise", "off", &error));
    QCOMPARE(settings.noise, QByteArray());
    QVERIFY(settings.set("glue", "\\r\\nOK\\r\\n", &error));
    QCOMPARE(settings.glue, QByteArray("\r\nOK\r\n"));
    QCOMPARE(error, QString());
}

void MisbehaviourTest::refuses_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown") << "politeness"
                             << "off"
                             << "there is no setting \"politeness\"; there are: echo, delay, "
                                "split, join, silent, error, unplug-on, noise, glue";
    QTest::newRow("echo") << "echo"
                          << "loud"
                          << "\"loud\" is not a value for echo; it takes on|off|glued";
    QTest::newRow("delay") << "delay"
                           << "-1"
                           << "\"-1\" is not a value for delay; it takes MILLISECONDS";
    QTest::newRow("huge delay") << "delay"
                                << "3600001"
                                << "\"3600001\" is not a value for delay; it takes MILLISECONDS";
    QTest::newRow("split") << "split"
                           << "x"
                           << "\"x\" is not a value for split; it takes BYTES";
    QTest::newRow("join") << "join"
                          << "yes"
                          << "\"yes\" is not a value for join; it takes on|off";
    QTest::newRow("silent") << "silent"
                            << ""
                            << "\"\" is not a value for silent; it takes on|off";
    QTest::newRow("error") << "error"
                           << ""
                           << "\"\" is not a value for error; it takes PREFIX|all|off";
    QTest::newRow("unplug-on") << "unplug-on"
                               << ""
                               << "\"\" is not a value for unplug-on; it takes PREFIX|off";
    QTest::newRow("noise") << "noise"
                           << "\\q"
                           << "\"\\q\" is not a value for noise; it takes TEXT|off";
    QTest::newRow("glue") << "glue"
                          << ""
                          << "\"\" is not a value for glue; it takes TEXT|off";
}

void MisbehaviourTest::refuses()
{
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(QString, message);
    Misbehaviour settings;
    QString error;
    QVERIFY(!settings.set(name, value, &error));
    QCOMPARE(error, message);
    QCOMPARE(settings.echo, EchoMode::On);
    QCOMPARE(settings.delayMs, 5);
    QCOMPARE(settings.splitAfter, 0);
    QVERIFY(!settings.join && !settings.silent);
    QVERIFY(settings.errorPrefix.isEmpty() && settings.unplugPrefix.isEmpty());
    QVERIFY(settings.noise.isEmpty() && settings.glue.isEmpty());
}

void MisbehaviourTest::everySettingIsExplained()
{
    for (const MisbehaviourHelp &help : misbehaviourHelp()) {
        Misbehaviour settings;
        QString error;
        QVERIFY(!settings.set(help.name, QString(), &error));
        QVERIFY2(error.endsWith(QString("it takes %1").arg(help.value)), qPrintable(error));
        QVERIFY(*help.meaning);
    }
}

void MisbehaviourTest::prefixes()
{
    QVERIFY(hasCommandPrefix("at+cgdcont=1", "AT+CGD"));
    QVERIFY(!hasCommandPrefix("AT+CG", "AT+CGD"));
    QVERIFY(!hasCommandPrefix("AT", ""));
}

QTEST_GUILESS_MAIN(MisbehaviourTest)
#include "misbehaviour_test.moc"
