#pragma once

#include <string_view>

namespace atline {

/// What ends a command on an AT command line.
enum class ResultCode {
    None, ///< the line ends no command: an echo, an information text, a report
    Ok,
    Connect, ///< a speed may follow
    NoCarrier,
    Busy,
    NoAnswer,
    NoDialtone,
    Error, ///< also "+CME ERROR: 30" and "+CMS ERROR: 500"
};

/// The result code that a line is, in the words that ATV1 chooses. The line
/// comes without its end.
ResultCode resultCode(std::string_view line);

/// Whether a command failed that ended so.
bool isFailure(ResultCode code);

} // namespace atline
