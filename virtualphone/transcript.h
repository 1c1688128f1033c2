#pragma once

#include <QByteArray>
#include <QFile>

namespace virtualphone {

/// Writes every byte on the line, and what happens to the phone, into a file.
/// Each event is a line, which is written at once:
///
///     2026-01-31T12:00:00.123456Z 5023.123456 pc->phone 3 "AT\r"
///     2026-01-31T12:00:00.128660Z 5023.128660 phone->pc 6 "\r\nOK\r\n"
///     2026-01-31T12:00:09.000000Z 5032.000000 phone unplugged
///
/// The fields are the wall clock in UTC, the machine's monotonic clock in
/// seconds, the direction with the number of bytes and the bytes of one read
/// or write (see escapeBytes); or "phone" and a remark.
class Transcript
{
public:
    /// Opens the file for appending, "-" for standard output. False with a
    /// message when that fails. Until then nothing is recorded.
    bool open(const QString &fileName, QString *error);

    /// One read from the line: what the PC sent.
    void fromPc(const QByteArray &bytes);
    /// One write to the line: what the phone sent.
    void toPc(const QByteArray &bytes);
    /// What happened to the phone; one line, in words.
    void remark(const QString &text);

private:
    void write(const QByteArray &entry);

    QFile m_file;
};

} // namespace virtualphone
