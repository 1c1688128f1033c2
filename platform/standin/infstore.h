#pragma once

#include "platform/standin/inffile.h"
#include "platform/standin/machine.h"

#include <optional>

namespace platform {

/// Reads an INF. Success, 2, 5, or 0xE0000100 with the reason on standard
/// error; *content is then of no use.
DWORD readInf(const char *operation, const QString &path, std::optional<InfFile> *inf,
              QByteArray *content);

/// The file of the INF store that has this content; "" when none has.
QString storedInf(const Machine &machine, const QByteArray &content);

/// Adds a file with this content to the INF store, as the first free oemN.inf,
/// or finds the one that has it. *wasThere, when given, tells which. Call it
/// from inside changeDevices().
DWORD storeInf(Machine *machine, const QByteArray &content, QString *fileName,
               bool *wasThere = nullptr);

} // namespace platform
