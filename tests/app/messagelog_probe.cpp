// Logs as the program does. The test starts it with the folder of the message log,
// "-" for none, and the name of what it is to do.
#include "app/diagnostics.h"
#include "app/identity.h"
#include "app/messagelog.h"
#include "tests/app/hangingfolder.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <thread>
#include <vector>

namespace {

void logOfEveryKind()
{
    logMessage("isDialupConnectionConnected", QString("No of Connections = 0"));
    qDebug() << "connection name in reg: " << Quoted("TolvaneModem 1");
    printDiagnostic("\nWriteFile completed immediately.\n");
    logError(QString("SetCurrentPortSettings"), "No ports available");
    qWarning("A warning");
    printDiagnostic("%.*s\n", 100, "ATZ\r\r\nOK\r\n");
    qDebug() << QString::fromUtf8("\u00e4 \u0995").toUtf8().constData() << "a\x1b[0m\tb\x7f";
}

void logInThreads()
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int line = 0; line < 250; ++line)
                logMessage("thread", QString("%1 line %2").arg(thread).arg(line));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

/// More than can wait for a folder that does not answer.
void logMuch()
{
    const QByteArray line(1000, 'x');
    for (int lines = 0; lines < 3000; ++lines)
        addToMessageLog(line);
}

/// Logs once more at a first line of input, and rests until a second one comes. Prints how
/// much of the processor that took, in milliseconds.
void logAndRest()
{
    addToMessageLog("one line");
    std::getchar();
    addToMessageLog("another line");
    const std::clock_t before = std::clock();
    std::getchar();
    std::printf("%d\n", static_cast<int>(1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC));
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    setApplicationIdentity();
    if (argc < 3)
        return 2;
    const QByteArray folder = argv[1];
    const QByteArray what = argv[2];
    if (folder != "-")
        startMessageLog(QString::fromLocal8Bit(folder));

    QElapsedTimer timer;
    timer.start();
    if (what == "kinds")
        logOfEveryKind();
    else if (what == "threads")
        logInThreads();
    else if (what == "more than can wait")
        logMuch();
    else if (what == "a line and another, then it rests")
        logAndRest();
    else if (what == "a message too large") {
        addToMessageLog(QByteArray(1000001, 'x'));
        addToMessageLog("a small one");
    } else if (what == "more than can wait, then it answers") {
        logMuch();
        letFolderAnswer();
        // Each returns at once when everything is in the files.
        for (int tries = 0; tries < 40; ++tries)
            finishMessageLog();
    } else if (what == "fatal")
        qFatal("the last words");
    else if (what != "nothing")
        return 2;
    const qint64 logging = timer.restart();
    finishMessageLog();
    qDebug("after the end");
    // How long each took, in milliseconds.
    std::printf("%d %d\n", static_cast<int>(logging), static_cast<int>(timer.elapsed()));
    std::fflush(stdout);
    // Without destructors, as the program ends when a thread of the pool asks for it.
    std::_Exit(EXIT_SUCCESS);
}
