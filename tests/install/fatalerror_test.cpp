#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

// The process that meets the fatal error ends, so each case runs a program of
// its own.
class FatalErrorTest : public QObject
{
    Q_OBJECT

private slots:
    void showsABoxAndEnds_data();
    void showsABoxAndEnds();
    void lastWordsAreKept();
    void restsWhileTheBoxIsRead();
    void textsAreTranslated();
    void messages_data();
    void messages();
    void endsWithoutALoop_data();
    void endsWithoutALoop();
    void functionThatIsNotThere_data();
    void functionThatIsNotThere();

private:
    void start(const QString &way)
    {
        m_process.reset(new QProcess);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("XDG_RUNTIME_DIR", m_settings.path());
        m_process->setProcessEnvironment(environment);
        m_process->start(QCoreApplication::applicationDirPath() + "/fatalerror_program",
                         {way, m_settings.path()});
        QVERIFY(m_process->waitForStarted());
    }

    /// Standard output up to the press of the button; empty when it never came.
    QByteArray untilPress()
    {
        QByteArray output;
        while (!output.endsWith("pressing\n")) {
            if (!m_process->waitForReadyRead(20000))
                return {};
            output += m_process->readAllStandardOutput();
            // The line ends of Windows' text streams.
            output.replace("\r\n", "\n");
        }
        return output;
    }

    void expectEnd(int milliseconds)
    {
        QElapsedTimer timer;
        timer.start();
        // Waiting for what it wrote may have found its end already.
        QVERIFY2(m_process->state() == QProcess::NotRunning || m_process->waitForFinished(20000),
                 "the process hangs");
        const qint64 elapsed = timer.elapsed();
        QVERIFY2(elapsed < milliseconds, qPrintable(QString::number(elapsed) + " ms"));
        QCOMPARE(m_process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_process->exitCode(), 0);
        // No warning about threads, no line from a sanitizer.
        m_errors = QString::fromUtf8(m_process->readAllStandardError());
        m_errors.remove("This plugin does not support propagateSizeHints()\n");
        // Wine has no warning icon to give.
        m_errors.remove(QRegularExpression("QPixmap::fromWinHICON\\(\\)[^\n]*\n"));
        QVERIFY2(!m_errors.contains("hread") && !m_errors.contains("anitizer"),
                 qPrintable(m_errors));
        QCOMPARE(m_process->readAllStandardOutput(), QByteArray());
    }

    static QByteArray box(const QByteArray &function, const QByteArray &message,
                          const QByteArray &more = {}, const QByteArray &titleMark = {})
    {
        return "title " + titleMark + "Error in Function " + function + "\ntext " + message +
               "\nicon warning\nmodal 1, visible 1, parent 0, on the GUI thread 1\n"
               "button Ok\n" +
               more + "pressing\n";
    }

    QTemporaryDir m_settings;
    QScopedPointer<QProcess> m_process;
    /// Standard error of the process that ended, the display's own lines
    /// excepted.
    QString m_errors;
};

void FatalErrorTest::showsABoxAndEnds_data()
{
    QTest::addColumn<QString>("way");
    for (const char *way : {"gui", "gui, pool busy", "gui, before the loop", "pool",
                            "pool, another thread busy", "pool, before the loop"})
        QTest::newRow(way) << QString(way);
}

void FatalErrorTest::showsABoxAndEnds()
{
    QFETCH(const QString, way);
    start(way);
    QCOMPARE(untilPress(), box("Subject", "What went wrong."));
    expectEnd(1000);
    QCOMPARE(m_errors, QString());
}

/// What was logged and printed last is what whoever looks for the cause needs.
void FatalErrorTest::lastWordsAreKept()
{
    // Nobody waits for the log's thread longer than a quarter of a second, and this may be
    // a busy machine: one of three tries is enough.
    QByteArray logged;
    for (int tries = 0; tries < 3 && !logged.endsWith(" the last line\n"); ++tries) {
        start("no application");
        QVERIFY(m_process->waitForFinished(20000));
        QCOMPARE(m_process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_process->exitCode(), 0);
        QCOMPARE(m_process->readAllStandardOutput().replace("\r\n", "\n"),
                 QByteArray("still in the buffer\n"));
        const QDir folder(m_settings.path());
        for (const QString &name : folder.entryList({"messages-*.log"}, QDir::Files)) {
            QFile file(folder.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            logged += file.readAll();
        }
    }
    QVERIFY2(logged.endsWith(" the last line\n"), logged.constData());
}

void FatalErrorTest::restsWhileTheBoxIsRead()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("std::clock() tells the time that has passed there, not the processor's");
    start("pool, box is read");
    QCOMPARE(untilPress(), box("Subject", "What went wrong.", "at rest 1\n"));
    expectEnd(1000);
}

/// The translator marks each text that it is asked for.
void FatalErrorTest::textsAreTranslated()
{
    start("gui, translated");
    QCOMPARE(untilPress(), box("[QObject]Subject", "[QObject]What went wrong.", {}, "[QObject]"));
    expectEnd(1000);
}

void FatalErrorTest::messages_data()
{
    QTest::addColumn<QByteArray>("function");
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QByteArray>("more"); // what is said besides
    // Nothing was logged or stored before the box.
    const QByteArray operations = "operations RasGetEntryPropertiesW GetProcessHeap HeapAlloc "
                                  "RasGetEntryPropertiesW RasEnumDevicesW";
    const QByteArray noSettings = "\nsettings \n";
    QTest::newRow("devices 1") << QByteArray("GetRasDevices")
                               << QByteArray("Small Buffer Small Error Not Found.")
                               << operations + noSettings;
    QTest::newRow("devices 2") << QByteArray("GetRasDevices") << QByteArray("HeapAlloc failed!")
                               << operations + " GetProcessHeap HeapAlloc" + noSettings;
    QTest::newRow("devices 3") << QByteArray("GetRasDevices") << QByteArray("An Error Occured.")
                               << operations + " GetProcessHeap HeapAlloc RasEnumDevicesW" +
                                      noSettings;
    QTest::newRow("newdev.dll") << QByteArray("newdev.dll")
                                << QByteArray("Error, newdev.dll not found\n") << QByteArray();
}

void FatalErrorTest::messages()
{
    QFETCH(const QByteArray, function);
    QFETCH(const QByteArray, message);
    QFETCH(const QByteArray, more);
    start(QTest::currentDataTag());
    QCOMPARE(untilPress(), box(function, message, more));
    expectEnd(1000);
    if (!more.isEmpty())
        QCOMPARE(m_errors, QString());
}

// With the event loop gone nobody can show a box, and the destruction of the
// application waits for the very thread that has the error.
void FatalErrorTest::endsWithoutALoop_data()
{
    QTest::addColumn<QString>("way");
    for (const char *way : {"pool, loop ended", "pool, application closing"})
        QTest::newRow(way) << QString(way);
}

void FatalErrorTest::endsWithoutALoop()
{
    QFETCH(const QString, way);
    start(way);
    expectEnd(20000);
    QCOMPARE(m_errors, QString());
}

// The address of a function of a system library is used without a check: a
// library without it is not the system's, and going on would do harm.
void FatalErrorTest::functionThatIsNotThere_data()
{
    QTest::addColumn<QString>("way");
    for (const char *way : {"unbound rescan", "unbound update"})
        QTest::newRow(way) << QString(way);
}

void FatalErrorTest::functionThatIsNotThere()
{
    QFETCH(const QString, way);
    start(way);
    QVERIFY(m_process->waitForFinished(20000));
    QVERIFY(m_process->exitStatus() == QProcess::CrashExit || m_process->exitCode() != 0);
    QVERIFY(m_process->exitCode() != 7 && m_process->exitCode() != 3);
    QVERIFY(!m_process->readAllStandardOutput().contains("main returned"));
}

QTEST_GUILESS_MAIN(FatalErrorTest)
#include "fatalerror_test.moc"
