#pragma once

#include "platform/types.h"

#include <QString>

#include <optional>

namespace platform {

/// `{4D36E978-E325-11CE-BFC1-08002BE10318}`, in capitals.
QString guidText(const Guid &guid);

/// The GUID of such a text (any case, braces needed); none for anything else.
std::optional<Guid> guidFromText(const QString &text);

} // namespace platform
