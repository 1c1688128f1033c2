#include "app/diagnostics.h"
#include "tests/support/logcatcher.h"
#include "tests/support/stdoutcapture.h"

#include <QFile>
#include <QTemporaryFile>
#include <QTest>

#include <cstdio>
#include <unistd.h>

class DiagnosticsTest : public QObject
{
    Q_OBJECT

private slots:
    void messageLines();
    void errorLines();
    void quotedTextIsNotEscaped_data();
    void quotedTextIsNotEscaped();
    void quotedLeavesTheStreamAsItWas();
    void diagnosticIsFormatted();
    void diagnosticDoesNotStayInTheBuffer();
};

void DiagnosticsTest::messageLines()
{
    const LogCatcher log;
    logMessage("bare", "text");
    logMessage("bare", QString("value"));
    logMessage(QString("name()"), "text");
    logMessage(QString("name()"), QString("value"));
    QCOMPARE(
        log.lines(),
        QStringList({"Msg from  bare  -  text \n", "Msg from  bare  -  \"value\" \n",
                     "Msg from  \"name()\"  -  text \n", "Msg from  \"name()\"  -  \"value\" \n"}));
}

void DiagnosticsTest::errorLines()
{
    const LogCatcher log;
    logError("bare", "text");
    logError("bare", QString("C:\\a \"b\" "));
    logError(QString("name"), "text\n");
    logError(QString(), "");
    QCOMPARE(log.lines(),
             QStringList({"ERROR  bare  -  text \n", "ERROR  bare  -  \"C:\\a \"b\" \" \n",
                          "ERROR  \"name\"  -  text\n \n", "ERROR  \"\"  -   \n"}));
}

void DiagnosticsTest::quotedTextIsNotEscaped_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("plain") << "TolvaneModem 1";
    QTest::newRow("empty") << "";
    QTest::newRow("path") << "\\\\.\\COM12";
    QTest::newRow("quotes") << "a \"b\" c";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("\u00e4 \u0995 \U0001F4F1");
    QTest::newRow("lone surrogate") << QString(QChar(0xD83D));
    QTest::newRow("control characters") << "a\nb\tc\r";
    QTest::newRow("place marker") << "%1 %s";
}

void DiagnosticsTest::quotedTextIsNotEscaped()
{
    QFETCH(const QString, text);
    const LogCatcher log;
    qDebug() << Quoted(text);
    qDebug() << "name:" << Quoted(text) << 7;
    QCOMPARE(log.lines(), QStringList({'"' + text + '"', "name: \"" + text + "\" 7"}));
}

void DiagnosticsTest::quotedLeavesTheStreamAsItWas()
{
    const LogCatcher log;
    qDebug() << Quoted("a\\b") << QString("a\\b");
    QCOMPARE(log.lines(), QStringList({"\"a\\b\" \"a\\\\b\""}));
}

void DiagnosticsTest::diagnosticIsFormatted()
{
    QByteArray text;
    {
        const StdoutCapture capture;
        printDiagnostic("\nWriteFile failed with error %d.\n", 5);
        printDiagnostic("%.*s\n", 3, "abcdef");
        printDiagnostic("plain\n");
        text = capture.text();
    }
    QCOMPARE(text, QByteArray("\nWriteFile failed with error 5.\nabc\nplain\n"));
}

// Whoever reads the output sees the line while the modem is still waited for.
void DiagnosticsTest::diagnosticDoesNotStayInTheBuffer()
{
    QTemporaryFile output;
    QVERIFY(output.open());
    std::fflush(stdout);
    const int saved = dup(fileno(stdout));
    dup2(output.handle(), fileno(stdout));
    printDiagnostic("waiting\n");
    QFile reader(output.fileName());
    const bool opened = reader.open(QIODevice::ReadOnly);
    const QByteArray read = reader.readAll();
    std::fflush(stdout);
    dup2(saved, fileno(stdout));
    ::close(saved);
    QVERIFY(opened);
    QCOMPARE(read, QByteArray("waiting\n"));
}

QTEST_GUILESS_MAIN(DiagnosticsTest)
#include "diagnostics_test.moc"
