#include "tests/support/logcatcher.h"

#include "platform/platform.h"
#include "tests/support/scriptedmachine.h"

#include <mutex>

namespace {

std::mutex mutex;
QStringList caught;
QtMessageHandler previous = nullptr;

void handle(QtMsgType, const QMessageLogContext &, const QString &message)
{
    // The display of the tests says this of itself, not the program.
    if (message.startsWith("This plugin does not support "))
        return;
    ScriptedMachine::clearLastErrorOfThread();
    const std::lock_guard lock(mutex);
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
    const std::lock_guard lock(mutex);
    return caught;
}

void LogCatcher::clear()
{
    const std::lock_guard lock(mutex);
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
