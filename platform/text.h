#pragma once

#include "platform/types.h"

#include <QString>

#include <algorithm>
#include <cstddef>
#include <iterator>

// Text between QString and the platform's fixed UTF-16 buffers.
namespace platform {

/// The text up to its terminator.
inline QString fromWide(const WCHAR *text)
{
    return QString::fromUtf16(reinterpret_cast<const char16_t *>(text));
}

/// The text of a buffer of so many units: up to its terminator or, where there is
/// none, to the end of the buffer.
inline QString fromBuffer(const WCHAR *buffer, std::size_t size)
{
    const auto length = std::find(buffer, buffer + size, WCHAR{0}) - buffer;
    return QString(reinterpret_cast<const QChar *>(buffer), static_cast<int>(length));
}

/// The text of a record's fixed field, in the same way.
template<std::size_t Size> QString fromField(const WCHAR (&field)[Size])
{
    return fromBuffer(field, Size);
}

/// The text with a sign in the place of each character that is not seen, but may do
/// something where it is shown: control characters, those that turn the direction.
inline QString withoutHiddenCharacters(QString text)
{
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control ||
            character.category() == QChar::Other_Format)
            character = QChar::ReplacementCharacter;
    }
    return text;
}

/// A QString's UTF-16 units, zero-terminated, valid while the string is
/// neither changed nor destroyed.
inline const WCHAR *wide(const QString &text)
{
    return reinterpret_cast<const WCHAR *>(text.utf16());
}

/// Copies text into a zero-filled buffer of size units; the zero fill
/// terminates it. What does not fit in size - 1 units is cut off.
inline void copyToBuffer(const QString &text, WCHAR *buffer, int size)
{
    for (int i = 0; i < text.size() && i < size - 1; ++i)
        buffer[i] = static_cast<WCHAR>(text.at(i).unicode());
}

/// Fills a record's fixed field, which then holds nothing but the text and its
/// terminator. What does not fit is cut off.
template<std::size_t Size> void setField(WCHAR (&field)[Size], const QString &text)
{
    std::fill(std::begin(field), std::end(field), WCHAR{0});
    copyToBuffer(text, field, static_cast<int>(Size));
}

} // namespace platform
