#pragma once

#include "platform/types.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <optional>

// How the window and the helper talk: one JSON object a line, requests on the
// helper's standard input, replies on its standard output. The first line from
// the helper is {"ready":true}: the rights are there. A request names what to do
// in "do" and has exactly the fields that helper/requests.cpp lists for it. Its
// reply holds "code", the number with which the operation ended, 0 for success.
// A dial is told line by line before that; see helper/pppdrun.h.
namespace platform::linuxsystem {

inline constexpr DWORD ErrorRetry = 1237;     ///< ERROR_RETRY
inline constexpr DWORD ErrorCancelled = 1223; ///< ERROR_CANCELLED: no password was given

/// What one helper process may be asked for. Its word is the helper's only
/// argument, and polkit has an action for each.
enum class Role {
    SetUp,     ///< the modem, its drivers and the user's entries
    Connect,   ///< dial an entry of the user's own, and end such a connection
    EndOthers, ///< end a connection that another user made
};

QString wordOf(Role role);
std::optional<Role> roleOf(const QString &word);

/// The longest line that either side takes, in bytes, without its end.
inline constexpr int LongestLine = 128 * 1024;

/// A line, its end included.
QByteArray toLine(const QJsonObject &object);

/// The object of a line; none when it is no JSON object.
std::optional<QJsonObject> fromLine(const QByteArray &line);

/// The object of a line that is written as toLine() writes it; none when it is not: a
/// field that comes twice, or a number of another form, could mean one thing where it
/// is checked and another where it is used.
std::optional<QJsonObject> requestFromLine(const QByteArray &line);

/// Sends a line, all of it. False when the other side is gone.
bool sendLine(int descriptor, const QJsonObject &object);

/// Reads lines from a descriptor, which stays the caller's.
class LineReader
{
public:
    enum class Result {
        Line,
        End,     ///< the other side is gone
        TooLong, ///< longer than LongestLine; nothing more can be read
        Quiet,   ///< no whole line came in time
    };

    explicit LineReader(int descriptor) : m_descriptor(descriptor) {}

    /// The next line. Waits for all of it that many milliseconds, for ever with -1.
    Result next(QByteArray *line, int milliseconds = -1);

private:
    int m_descriptor;
    QByteArray m_buffer;
};

} // namespace platform::linuxsystem
