#include "platform/standin/guid.h"

#include <QUuid>

#include <algorithm>
#include <iterator>

namespace platform {

QString guidText(const Guid &guid)
{
    const BYTE(&d)[8] = guid.Data4;
    return QUuid(guid.Data1, guid.Data2, guid.Data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7])
        .toString()
        .toUpper();
}

std::optional<Guid> guidFromText(const QString &text)
{
    const QUuid uuid(text);
    // QUuid takes a few more spellings than an INF may use.
    if (uuid.toString().compare(text, Qt::CaseInsensitive) != 0)
        return std::nullopt;
    Guid guid = {uuid.data1, uuid.data2, uuid.data3, {}};
    std::copy(std::begin(uuid.data4), std::end(uuid.data4), std::begin(guid.Data4));
    return guid;
}

} // namespace platform
