#pragma once

#include <QByteArray>

namespace virtualphone {

/// The bytes as printable text: `\r`, `\n`, `\t`, `\\`, `\"` and `\xNN` for
/// everything else that is not printable ASCII.
QByteArray escapeBytes(const QByteArray &bytes);

/// Reads the same escapes back, and `\0`. False, with *bytes left as it is,
/// for an escape that does not exist or is cut off.
bool unescapeBytes(const QByteArray &text, QByteArray *bytes);

} // namespace virtualphone
