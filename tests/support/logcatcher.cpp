#include "tests/support/logcatcher.h"

#include "platform/platform.h"
#include "tests/support/scriptedmachine.h"

#include <QMutex>

namespace {

QMutex mutex;
QStringList caught;
QtMessageHandler previous = nullptr;

void handle(QtMsgType, const QMessageLogContext &, const QString &message)
{
    ScriptedMachine::clearLastErrorOfThread();
    const QMutexLocker lock(&mutex);
    caught.append(message);
}

} // namespace

LogCatcher::LogCatcher()
{
    clear();
    previous = qInstallMessageHandler(handle);
}

LogCatcher::~LogCatcher()
{
    qInstallMessageHandler(previous);
}

QStringList LogCatcher::lines() const
{
    const QMutexLocker lock(&mutex);
    return caught;
}

void LogCatcher::clear()
{
    const QMutexLocker lock(&mutex);
    caught.clear();
}

QString messageLine(const QString &function, const QString &message)
{
    return "Msg from  " + function + "  -  " + message + " \n";
}

QString errorLine(const QString &function, const QString &message)
{
    return "ERROR  " + function + "  -  " + message + " \n";
}

QString quoted(const QString &text)
{
    return '"' + text + '"';
}
