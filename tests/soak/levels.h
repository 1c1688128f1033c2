#pragma once

#include <QtGlobal>

class QWidget;

namespace soak {

/// What a process has, and what may grow.
struct Levels {
    qint64 bytes = 0; ///< allocated
    int descriptors = 0;
    int threads = 0;
    int windows = 0; ///< wizards and dialogs, which stay until the main window goes
    int widgets = 0; ///< of everything else
};

/// As it is now, when all threads of the pool have ended. The system lists one that has
/// ended a moment longer: more than the expected ones are given time.
Levels levels(int expectedThreads);

/// Bytes that are allocated now.
qint64 allocatedBytes();

} // namespace soak
