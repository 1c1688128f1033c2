#pragma once

#include "platform/ras.h"

#include <QJsonObject>

// A phone-book entry as the phone book keeps it: the record's fields by name.
namespace platform::simulated {

/// What a new entry starts with. dwSize is left 0.
platform::RasEntry defaultEntry();

/// Every field of the record but dwSize, texts without their padding.
QJsonObject entryToJson(const platform::RasEntry &entry);

/// Missing fields are as in a new entry. dwSize is left 0.
platform::RasEntry entryFromJson(const QJsonObject &object);

} // namespace platform::simulated
