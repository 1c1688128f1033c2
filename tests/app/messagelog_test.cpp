// The message log, from outside: messagelog_probe logs, this test reads.

#include "app/messagefiles.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <utility>

class MessageLogTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<QTemporaryDir>();
        m_log = m_folder->filePath("Brantiq Developer Network/Tolvane Modem Connector");
    }

    void debugStreamAndOutputAreTheSameBytes();
    void everyLineHasItsTime();
    void theFirstLineMakesTheFile();
    void aLineIsWrittenAtOnce();
    void aMessageTooLarge();
    void eachStartHasAFileOfItsOwn();
    void twoProcessesAtOnce();
    void linesOfManyThreads();
    void filesAreSmallAndFew();
    void otherFilesStay();
    void lastWords();
    void whatStandsInTheWayIsLeftAlone();
    void folderThatCannotBeWritten();
    void noFolder();
    void fullDisk();
    void folderThatDoesNotAnswer_data();
    void folderThatDoesNotAnswer();
    void folderThatAnswersAgain();
    void theEndDoesNotWaitLonger();
    void noThreadToBeHad();
    void theDiskIsBack();

private:
    struct Run {
        int exitCode = -1;
        QByteArray output;
        QByteArray errors;
    };
    /// The probe to its end. `shell` stands before it on a shell's command line.
    Run run(const QString &what, const QString &folder = {}, const QString &shell = {}) const;
    /// A probe under way.
    std::unique_ptr<QProcess> start(const QString &what) const;
    static QString probe();

    /// The log's files, the oldest first.
    QStringList files() const;
    QByteArray contentOf(const QString &name) const;
    /// The lines of all files but the headings, without their times.
    QList<QByteArray> lines() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_log;
};

QString MessageLogTest::probe()
{
    const QFileInfo self(QCoreApplication::applicationFilePath());
    const QString suffix = self.suffix().isEmpty() ? "" : '.' + self.suffix();
    return self.dir().filePath("messagelog_probe" + suffix);
}

MessageLogTest::Run MessageLogTest::run(const QString &what, const QString &folder,
                                        const QString &shell) const
{
    const QStringList arguments = {folder.isEmpty() ? m_log : folder, what};
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_FORCE_STDERR_LOGGING", "1");
    process.setProcessEnvironment(environment);
    if (shell.isEmpty())
        process.start(probe(), arguments);
    else
        process.start("sh", QStringList{"-c", shell + " exec \"$0\" \"$@\"", probe()} + arguments);
    Run result;
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit)
        result.exitCode = process.exitCode();
    result.output = process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

std::unique_ptr<QProcess> MessageLogTest::start(const QString &what) const
{
    auto process = std::make_unique<QProcess>();
    process->start(probe(), {m_log, what});
    return process;
}

QStringList MessageLogTest::files() const
{
    return QDir(m_log).entryList({"messages-*.log"}, QDir::Files, QDir::Time | QDir::Reversed);
}

QByteArray MessageLogTest::contentOf(const QString &name) const
{
    QFile file(m_log + '/' + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QList<QByteArray> MessageLogTest::lines() const
{
    QList<QByteArray> result;
    const QStringList names = files();
    for (const QString &name : names) {
        const QList<QByteArray> all = contentOf(name).split('\n');
        for (int i = 1; i + 1 < all.size(); ++i)
            result.append(all[i].mid(static_cast<int>(qstrlen("2026-11-21 23:59:59.999 "))));
    }
    return result;
}

void MessageLogTest::debugStreamAndOutputAreTheSameBytes()
{
    const Run without = run("kinds", "-");
    const Run with = run("kinds");
    QCOMPARE(without.exitCode, 0);
    QCOMPARE(with.exitCode, 0);
    QVERIFY(with.errors.contains("Msg from  isDialupConnectionConnected"));
    QCOMPARE(with.errors, without.errors);
    // The last line tells times.
    const auto printed = [](QByteArray output) {
        output.chop(1);
        return output.left(output.lastIndexOf('\n'));
    };
    QVERIFY(printed(with.output).contains("WriteFile completed immediately."));
    QCOMPARE(printed(with.output), printed(without.output));
    QVERIFY(!lines().isEmpty());
}

void MessageLogTest::everyLineHasItsTime()
{
    const QDateTime before = QDateTime::currentDateTime();
    QCOMPARE(run("kinds").exitCode, 0);
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(files().size(), 1);
    QCOMPARE(files().filter(QRegularExpression("^messages-[-0-9]{19}\\.log$")), files());
    QList<QByteArray> all = contentOf(files().first()).split('\n');
    QVERIFY(all.takeLast().isEmpty());
    const QRegularExpression heading(
        "^Tolvane Modem Connector \\d+\\.\\d+\\.\\d+, .+, process \\d+$");
    QVERIFY2(heading.match(QString::fromUtf8(all.first())).hasMatch(), all.first().constData());
    all.removeFirst();
    for (const QByteArray &line : std::as_const(all)) {
        const QDateTime time =
            QDateTime::fromString(QString::fromUtf8(line.left(23)), "yyyy-MM-dd hh:mm:ss.zzz");
        QVERIFY2(time.isValid() && time >= before && time <= after, line.constData());
        QCOMPARE(line.at(23), ' ');
    }
    QCOMPARE(lines(),
             QList<QByteArray>(
                 {"Msg from  isDialupConnectionConnected  -  \"No of Connections = 0\"",
                  "connection name in reg:  \"TolvaneModem 1\"", "WriteFile completed immediately.",
                  "ERROR  \"SetCurrentPortSettings\"  -  No ports available", "A warning", "ATZ",
                  "OK", "\u00e4 \u0995 a?[0m\tb?"}));
}

void MessageLogTest::theFirstLineMakesTheFile()
{
    QCOMPARE(run("nothing").exitCode, 0);
    QVERIFY(!QFileInfo::exists(m_log));
}

// Somebody may read the file while the program is open. Meanwhile nothing is done, and the
// end is as quick as when there is something to write.
void MessageLogTest::aLineIsWrittenAtOnce()
{
    int end = 0;
    // This may be a busy machine: one short end of several is enough.
    for (int tries = 0; tries == 0 || (tries < 20 && end >= 200); ++tries) {
        QVERIFY(QDir(m_log).removeRecursively());
        const auto process = start("a line and another, then it rests");
        QTRY_COMPARE_WITH_TIMEOUT(lines(), QList<QByteArray>({"one line"}), 20000);
        process->write("\n");
        QTRY_COMPARE_WITH_TIMEOUT(lines(), QList<QByteArray>({"one line", "another line"}), 20000);
        constexpr int Rest = 200; // milliseconds
        QTest::qWait(Rest);
        process->write("\n");
        QVERIFY(process->waitForFinished());
        const QList<QByteArray> output = process->readAllStandardOutput().trimmed().split('\n');
        QCOMPARE(output.size(), 2);
        // There it is the time that has passed.
        if (QSysInfo::kernelType() != "winnt")
            QVERIFY2(output[0].toInt() < Rest / 2, output[0].constData());
        end = output[1].split(' ').last().toInt();
    }
    QVERIFY(end < 200);
}

void MessageLogTest::aMessageTooLarge()
{
    QCOMPARE(run("a message too large").exitCode, 0);
    QCOMPARE(files().size(), 1);
    const QByteArray content = contentOf(files().first());
    QVERIFY2(content.endsWith(" a small one\n1 messages are missing here\n"), content.constData());
    QCOMPARE(content.count('\n'), 3);
}

void MessageLogTest::eachStartHasAFileOfItsOwn()
{
    for (int starts = 1; starts <= 3; ++starts) {
        QCOMPARE(run("kinds").exitCode, 0);
        QCOMPARE(files().size(), starts);
    }
    QCOMPARE(contentOf(files().at(1)).count('\n'), contentOf(files().at(0)).count('\n'));
}

void MessageLogTest::twoProcessesAtOnce()
{
    const auto first = start("threads");
    const auto second = start("threads");
    QVERIFY(first->waitForFinished() && second->waitForFinished());
    QCOMPARE(first->exitCode(), 0);
    QCOMPARE(second->exitCode(), 0);
    QCOMPARE(files().size(), 2);
    QCOMPARE(lines().size(), 2 * 1000);
}

void MessageLogTest::linesOfManyThreads()
{
    QCOMPARE(run("threads").exitCode, 0);
    QList<QByteArray> sorted = lines();
    QCOMPARE(sorted.size(), 1000);
    // Each whole, and each thread's in their order.
    for (int thread = 0; thread < 4; ++thread) {
        int line = 0;
        for (const QByteArray &text : std::as_const(sorted)) {
            if (text.startsWith(QString("Msg from  thread  -  \"%1 line").arg(thread).toUtf8()))
                QCOMPARE(text, QString("Msg from  thread  -  \"%1 line %2\"")
                                   .arg(thread)
                                   .arg(line++)
                                   .toUtf8());
        }
        QCOMPARE(line, 250);
    }
}

void MessageLogTest::filesAreSmallAndFew()
{
    MessageFiles log(m_log);
    const QByteArray line = QByteArray(999, 'x') + '\n';
    for (int written = 0; written < (MessageFiles::KeptFiles + 2) * MessageFiles::LargestFile;
         written += line.size())
        log.write(line);
    QCOMPARE(files().size(), MessageFiles::KeptFiles);
    const QStringList names = files();
    for (const QString &name : names) {
        const qint64 size = QFileInfo(m_log + '/' + name).size();
        QVERIFY2(size <= MessageFiles::LargestFile, qPrintable(QString::number(size)));
    }
    QVERIFY(QFileInfo(m_log + '/' + names.first()).size() > MessageFiles::LargestFile / 2);
}

void MessageLogTest::otherFilesStay()
{
    QVERIFY(QDir().mkpath(m_log));
    const QStringList others = {"my messages.log", "messages-of-mine.txt",
                                "Copy of messages-1.log"};
    for (const QString &name : others)
        QVERIFY(QFile(m_log + '/' + name).open(QIODevice::WriteOnly));
    for (int starts = 0; starts < MessageFiles::KeptFiles + 2; ++starts)
        QCOMPARE(run("kinds").exitCode, 0);
    QCOMPARE(files().size(), MessageFiles::KeptFiles);
    for (const QString &name : others)
        QVERIFY(QFileInfo::exists(m_log + '/' + name));
}

void MessageLogTest::lastWords()
{
    QVERIFY(run("fatal").exitCode != 0);
    QCOMPARE(lines(), QList<QByteArray>({"the last words"}));
}

// Files are only made, never opened: a pipe would be waited for, and a link
// would lead elsewhere.
void MessageLogTest::whatStandsInTheWayIsLeftAlone()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("has neither pipes nor links in a folder");
    QVERIFY(QDir().mkpath(m_log));
    const QString victim = m_folder->filePath("victim");
    const QDateTime now = QDateTime::currentDateTime();
    for (int second = 0; second < 60; ++second) {
        const QString name =
            m_log + "/messages-" + now.addSecs(second).toString("yyyy-MM-dd-hh-mm-ss");
        QCOMPARE(QProcess::execute("mkfifo", {name + ".log"}), 0);
        QVERIFY(QFile::link(victim, name + "-2.log"));
    }
    QCOMPARE(run("kinds").exitCode, 0);
    QVERIFY(!QFileInfo::exists(victim));
    QCOMPARE(files().filter(QRegularExpression("-3\\.log$")).size(), 1);
}

void MessageLogTest::folderThatCannotBeWritten()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("has no folder that nobody can write");
    // Not even an administrator makes files there.
    const Run result = run("kinds", "/proc/self");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.errors, run("kinds", "-").errors);
}

void MessageLogTest::noFolder()
{
    QFile inTheWay(m_folder->filePath("Brantiq Developer Network"));
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    const Run result = run("kinds");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.errors, run("kinds", "-").errors);
}

void MessageLogTest::fullDisk()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("needs a limit for the size of files");
    // As many half kilobytes as a heading has.
    const Run result = run("threads", {}, "trap '' XFSZ; ulimit -f 1;");
    QCOMPARE(result.exitCode, 0);
    QCOMPARE(result.errors.count("Msg from  thread"), 1000);
    QVERIFY(QFileInfo(m_log + '/' + files().first()).size() <= 1024);
}

void MessageLogTest::folderThatDoesNotAnswer_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("few lines") << "kinds";
    QTest::newRow("more than can wait") << "more than can wait";
}

void MessageLogTest::folderThatDoesNotAnswer()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("the probe has no such folder there");
    QFETCH(const QString, what);
    const Run result = run(what, m_folder->filePath("hanging/log"));
    QCOMPARE(result.exitCode, 0);
    const QList<QByteArray> times = result.output.trimmed().split('\n').last().split(' ');
    QCOMPARE(times.size(), 2);
    qInfo("Logging took %d ms, the end %d ms", times[0].toInt(), times[1].toInt());
    // The end waits a quarter of a second, and this may be a slow machine.
    QVERIFY(times[1].toInt() >= 200);
    QVERIFY(times[1].toInt() < 2000);
}

// Whoever reads the files is told how much is not in them.
void MessageLogTest::folderThatAnswersAgain()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("the probe has no such folder there");
    m_log = m_folder->filePath("hanging/log");
    QCOMPARE(run("more than can wait, then it answers").exitCode, 0);
    const QRegularExpression note("^(\\d+) messages are missing here$");
    int written = 0;
    int missing = 0;
    const QStringList names = files();
    for (const QString &name : names) {
        const QByteArray content = contentOf(name);
        QVERIFY(content.size() <= MessageFiles::LargestFile);
        QList<QByteArray> all = content.split('\n');
        all.removeFirst();
        QVERIFY(all.takeLast().isEmpty());
        for (const QByteArray &line : std::as_const(all)) {
            if (line.endsWith(QByteArray(1000, 'x'))) {
                ++written;
                continue;
            }
            const QRegularExpressionMatch match = note.match(QString::fromUtf8(line));
            QVERIFY2(match.hasMatch(), line.constData());
            missing += match.captured(1).toInt();
        }
    }
    QVERIFY(missing > 0);
    QCOMPARE(written + missing, 3000);
}

// A quarter of a second is for a folder that does not answer. One short end of
// many is enough: this may be a busy machine.
void MessageLogTest::theEndDoesNotWaitLonger()
{
    QList<int> times;
    while (times.size() < 20 && (times.isEmpty() || times.last() >= 200)) {
        const Run result = run("kinds");
        QCOMPARE(result.exitCode, 0);
        times.append(result.output.trimmed().split(' ').last().toInt());
    }
    qInfo("The end took %d ms", times.last());
    QVERIFY(times.last() < 200);
}

// The toolkit says so in a message, which comes to the log, too.
void MessageLogTest::noThreadToBeHad()
{
    if (QSysInfo::kernelType() == "winnt")
        QSKIP("needs a limit for the size of stacks");
#ifdef __SANITIZE_THREAD__
    QSKIP("the limit changes the layout of the memory, which the thread sanitizer does not bear");
#endif
    // A thread's stack of 200 terabytes: no address space holds one.
    const Run result = run("kinds", {}, "ulimit -s 200000000000;");
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.errors.contains("Thread creation error"));
    QVERIFY(result.errors.contains("A warning"));
    QVERIFY(!QFileInfo::exists(m_log));
}

void MessageLogTest::theDiskIsBack()
{
    MessageFiles log(m_log);
    QFile inTheWay(m_folder->filePath("Brantiq Developer Network"));
    QVERIFY(inTheWay.open(QIODevice::WriteOnly));
    log.write("lost\n");
    QVERIFY(inTheWay.remove());
    log.write("there again\n");
    QCOMPARE(files().size(), 1);
    QVERIFY(contentOf(files().first()).endsWith("\nthere again\n"));
}

QTEST_GUILESS_MAIN(MessageLogTest)
#include "messagelog_test.moc"
