#pragma once

#include <QStringList>

/// Holds recorded calls (doubles/recorder.h) against what each call must look
/// like whatever the machine answered: argument values, declared sizes, zeroed
/// memory. Returns one message for each line that differs or that names a
/// function which the program has no business with.
QStringList wrongCalls(const QStringList &calls);

/// Without the lines whose number depends on how the bytes of an answer
/// arrived: arming a wait, waiting, reading nothing. They are still held
/// against their form by wrongCalls().
QStringList withoutWaiting(const QStringList &calls);

/// Without the lines of another process and of the end: the started
/// installer's, which comes when that process gets to it.
QStringList setupOnly(const QStringList &calls);

/// The first difference of two lists as a message, "" when there is none.
QString firstDifference(const QStringList &recorded, const QStringList &expected);
