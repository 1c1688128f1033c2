#include "platform/standin/entryname.h"

#include <QVector>

#include <algorithm>

namespace platform {

namespace {

constexpr int LongestEntryName = 256; // RAS_MaxEntryName

bool isSeen(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format: // among them those that change the direction of writing
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return true;
    }
}

} // namespace

bool isEntryName(const QString &name)
{
    const auto characters = name.toUcs4();
    return !name.trimmed().isEmpty() && name.size() <= LongestEntryName && !name.startsWith('.') &&
           std::all_of(characters.begin(), characters.end(), isSeen) &&
           QString::fromUtf8(name.toUtf8()) == name;
}

} // namespace platform
