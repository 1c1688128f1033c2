#pragma once

#include <functional>

namespace platform {

struct Platform;

/// No object has rights of its own here (50). `isAdministrator` says whether a
/// process that asks has an administrator's rights.
void provideSecurity(Platform *platform, const std::function<bool()> &isAdministrator);

} // namespace platform
