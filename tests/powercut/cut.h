#pragma once

#include <QString>

#include <functional>

// The power goes: this process is killed when it changes a file, at a chosen change.
// The functions of the C library that change files are replaced by ones that count;
// see cut.cpp. One thread at a time may choose.

/// What happens at the change that is chosen.
enum class Cut {
    Before, ///< it is not made
    Within, ///< of what is written half is; any other change is not made
};

/// Counts the changes below these folders from now on, and kills the process at the
/// n-th one, from 1; never with 0.
void cutPowerAt(int change, Cut how, const QStringList &folders);

/// How many changes were counted.
int countedChanges();

/// Called after each counted change, in the thread that made it. What it changes
/// itself is not counted.
void watchChanges(std::function<void()> watcher);
