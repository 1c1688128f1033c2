#pragma once

#include "platform/types.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// Texts as the system's functions hand them in and out.
namespace platform {

/// A text with its terminator (REG_SZ).
QByteArray textBytes(const QString &text);

/// Every text with its terminator, and one more at the end (REG_MULTI_SZ).
QByteArray multiStringBytes(const QStringList &texts);

/// The texts of such bytes; none when they do not end as they must.
std::optional<QStringList> multiStringFromBytes(const BYTE *bytes, DWORD size);

/// Hands a text out: sizes are in characters, the terminator included. What is
/// needed is told in any case; 122 when the buffer is too small or not there.
BOOL giveText(const QString &text, WCHAR *buffer, DWORD size, DWORD *requiredSize);

} // namespace platform
