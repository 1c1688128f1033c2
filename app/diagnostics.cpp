#include "app/diagnostics.h"

#include "app/messagelog.h"

#include <cstdarg>
#include <cstdio>

QDebug operator<<(QDebug debug, const Quoted &quoted)
{
    const QDebugStateSaver saver(debug);
    debug.noquote() << LogItem(quoted.text).text();
    return debug;
}

namespace {

// QDebug adds a blank after each item and the tags contain blanks too, so the
// line has double blanks. Qt::endl ends the line; the end of the statement adds
// a second line end.
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
    std::va_list again;
    va_copy(again, arguments);
    std::vprintf(format, arguments);
    char text[400]; // more than a modem's answer, which is the longest
    std::vsnprintf(text, sizeof text, format, again);
    va_end(again);
    va_end(arguments);
    // Without this a pipe or a file stays empty while the program waits for
    // the modem.
    std::fflush(stdout);
    addToMessageLog(text);
}
