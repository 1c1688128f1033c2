#include "platform/standin/textbuffer.h"

#include "platform/standin/lasterror.h"

#include <cstring>

namespace platform {

QByteArray textBytes(const QString &text)
{
    return QByteArray(reinterpret_cast<const char *>(text.utf16()),
                      static_cast<int>((text.size() + 1) * int(sizeof(WCHAR))));
}

QByteArray multiStringBytes(const QStringList &texts)
{
    QByteArray bytes;
    for (const QString &text : texts)
        bytes += textBytes(text);
    return bytes + QByteArray(sizeof(WCHAR), '\0');
}

std::optional<QStringList> multiStringFromBytes(const BYTE *bytes, DWORD size)
{
    if (!bytes || size % sizeof(WCHAR) != 0)
        return std::nullopt;
    QString content(static_cast<int>(size / sizeof(WCHAR)), Qt::Uninitialized);
    std::memcpy(content.data(), bytes, size);
    if (!content.endsWith(QString(2, QChar(0))))
        return std::nullopt;
    return content.split(QChar(0), Qt::SkipEmptyParts);
}

BOOL giveText(const QString &text, WCHAR *buffer, DWORD size, DWORD *requiredSize)
{
    const auto required = static_cast<DWORD>(text.size() + 1);
    if (requiredSize)
        *requiredSize = required;
    if (!buffer || size < required)
        return fail(ErrorInsufficientBuffer);
    std::memcpy(buffer, text.utf16(), required * sizeof(WCHAR));
    return 1;
}

} // namespace platform
