#pragma once

#include "tests/faults/machines.h"

#include <QStringList>

#include <algorithm>

namespace faults {

/// Takes "--every N" off the beginning of a program's arguments: only each N-th case
/// is run. 1 when it is not there.
inline int takeEvery(QStringList *arguments)
{
    if (arguments->value(0) != "--every")
        return 1;
    const int every = std::max(1, arguments->value(1).toInt());
    *arguments = arguments->mid(2);
    return every;
}

/// The machine that a program's argument names; none for another word.
inline MachineMaker machineNamed(const QString &name)
{
    if (name == "scripted")
        return scriptedMachine;
    if (name == "simulated")
        return simulatedMachine;
#ifdef TMC_DRIVERS
    if (name == "linux")
        return linuxMachine;
#endif
    return {};
}

} // namespace faults
