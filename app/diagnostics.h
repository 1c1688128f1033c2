#pragma once

#include <QDebug>
#include <QString>

// The program's diagnostics go to the debug stream. Their lines are part of the
// interface, byte for byte, so only the functions here write the two tagged forms.

/// A string value on the debug stream: its text unchanged, between two double
/// quotes. QDebug itself would escape backslashes and everything beyond ASCII,
/// and nobody could copy a path from the log.
struct Quoted {
    explicit Quoted(const QString &value) : text(value) {}
    QString text;
};

/// Writes the text between its quotes; the stream's own quoting stays as it was.
QDebug operator<<(QDebug debug, const Quoted &quoted);

/// One item of a tagged line: a plain character string is printed bare, a
/// string value in double quotes.
class LogItem
{
public:
    /// Printed bare. UTF-8.
    LogItem(const char *plain) : m_text(QString::fromUtf8(plain)) {}
    /// Printed between double quotes, unescaped.
    LogItem(const QString &value) : m_text(QLatin1Char('"') + value + QLatin1Char('"')) {}

    /// What is printed, quotes included.
    const QString &text() const { return m_text; }

private:
    QString m_text;
};

/// Writes `Msg from  <function>  -  <message> ` and an extra line end. Any thread.
void logMessage(const LogItem &function, const LogItem &message);

/// Writes `ERROR  <function>  -  <message> ` and an extra line end. Any thread.
/// A few callers use it for a success; each says why.
void logError(const LogItem &function, const LogItem &message);

/// Prints a diagnostic of the serial link or the device rescan to standard
/// output, and into the message log. They do not go to the debug stream.
/// printf format.
void printDiagnostic(const char *format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(1, 2);
