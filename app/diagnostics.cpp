#include "app/diagnostics.h"

#include <cstdarg>
#include <cstdio>

QDebug operator<<(QDebug debug, const Quoted &quoted)
{
    const QDebugStateSaver saver(debug);
    debug.noquote() << LogItem(quoted.text).text();
    return debug;
}

namespace {

// The stream puts a blank behind each item and the tags carry blanks of their
// own, hence the double ones. endl ends the line a first time, the stream's
// own end a second time.
void logTagged(const char *tag, const LogItem &function, const LogItem &message)
{
    qDebug().noquote() << tag << function.text() << " - " << message.text() << Qt::endl;
}

} // namespace

void logMessage(const LogItem &function, const LogItem &message)
{
    logTagged("Msg from ", function, message);
}

void logError(const LogItem &function, const LogItem &message)
{
    logTagged("ERROR ", function, message);
}

void printDiagnostic(const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    // A pipe or file would otherwise get nothing while the modem is waited for.
    std::fflush(stdout);
}
