#pragma once

#include <QByteArray>
#include <QString>

// The diagnostics in files, with the time of each, for users to send. A thread of
// its own opens the files and writes: a folder that does not answer, a full disk
// or missing rights cost lines of the files, and nothing else. Any thread, once
// the log is started.

/// From now on everything that goes to the debug stream goes there as before,
/// and besides into files in this folder. The first line makes folder and file.
/// Every start writes files of its own, so several processes and users never
/// write into the same one: "messages-" with date and time and ".log". One that
/// has reached a megabyte is followed by the next, and the ten newest are kept.
/// Call once, from main().
void startMessageLog(const QString &folder);

/// Adds a diagnostic that does not go to the debug stream. Does nothing when no
/// log was started.
void addToMessageLog(const QByteArray &text);

/// Waits until everything is in the files, at most a quarter of a second. What
/// comes later is in no file. Call it before the process ends.
void finishMessageLog();
