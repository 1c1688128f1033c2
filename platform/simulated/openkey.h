#pragma once

#include <QString>

namespace platform::simulated {

/// The driver key of a registered device, opened or created.
class OpenKey
{
public:
    explicit OpenKey(const QString &device) : instanceId(device) {}

    const QString instanceId;
};

} // namespace platform::simulated
