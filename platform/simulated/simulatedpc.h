#pragma once

#include "platform/platform.h"

#include <QString>

namespace platform::simulated {

/// A PC that is not there: the operating system's side of every call, over a
/// state directory that several processes may share.
class SimulatedPc : public Platform
{
public:
    explicit SimulatedPc(const QString &stateDirectory);
};

} // namespace platform::simulated
