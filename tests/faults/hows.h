#pragma once

#include "platform/platform.h"

#include <QString>
#include <QStringList>

// The ways in which a call may go wrong.
namespace faults {

/// The codes with which the operation's contract says that it may fail, those
/// that the program looks for first. Empty for one that cannot fail.
QList<platform::DWORD> failureCodes(const platform::AnyOperation &operation);

/// The unusual answers of an operation: it succeeds, or says what it needs, and
/// the content is empty, huge or not terminated.
QStringList unusualAnswers(const QString &operation);

/// Lets the n-th call of an operation, from 1, give such an answer.
void plant(platform::Platform *machine, const QString &operation, const QString &answer, int call);

} // namespace faults
