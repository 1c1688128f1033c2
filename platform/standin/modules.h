#pragma once

#include "platform/modules.h"

#include <functional>

class QString;

namespace platform {

struct Platform;

/// The address of a library's function; null when the library has none of that
/// name. It calls the slot of its name in the current platform.
FunctionAddress exportedFunction(const QString &library, const char *name);

/// The system libraries that the program binds at run time, with the functions
/// above. Loaded libraries belong to the process, whichever platform was asked
/// for them. Any thread.
///
/// `exports` answers false for a function that this release of the system does
/// not have; without it every function is there.
void provideModules(Platform *platform,
                    const std::function<bool(const char *function)> &exports = nullptr);

} // namespace platform
