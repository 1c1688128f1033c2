#pragma once

#include <QString>

namespace platform {

/// Whether an entry of the phone book may have that name: 256 characters at most,
/// not only blanks, the first one no dot, and each of them one that is seen as what
/// it is: no control character, no end of a line, nothing that turns or joins the
/// text around it, and no half of a pair.
bool isEntryName(const QString &name);

} // namespace platform
