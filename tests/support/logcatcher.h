#pragma once

#include <QStringList>

/// Collects every line of the debug stream while it lives, byte for byte and
/// without the stream's own line end, from every thread. As on Windows,
/// writing a line clears the writing thread's last error, so code that reads
/// the error too late is found out.
class LogCatcher
{
public:
    LogCatcher();
    ~LogCatcher();

    /// The lines so far, in order.
    QStringList lines() const;
    void clear();
};

/// `Msg from  <function>  -  <message> ` and its line end. Hand in string
/// values with their quotes.
QString messageLine(const QString &function, const QString &message);
/// `ERROR  <function>  -  <message> ` and its line end.
QString errorLine(const QString &function, const QString &message);
/// The text between two double quotes.
QString quoted(const QString &text);
