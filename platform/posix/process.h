#pragma once

#include "platform/posix/kernelobjects.h"

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>
#include <vector>

namespace platform {

/// The path of a program that the caller names in the manner of Windows.
using ProgramPath = std::function<QString(const QString &name)>;

/// The variables that a program starts with, as NAME=value.
using Environment = std::function<std::vector<QByteArray>()>;

/// Programs, started without waiting for them; nothing but a program and its
/// command line is supported (50). 2 when the program is missing, 5 when it may
/// not be run, 193 when it is no program. The command line's first word is what
/// the program sees as its own name; no shell reads it. Both handles are
/// signalled when the process has ended. Any thread.
void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const ProgramPath &programPath, const Environment &environment);

/// The texts in the form that the system takes arguments and variables in, with a
/// null pointer at the end. Valid as long as the texts are and do not change.
std::vector<char *> pointers(std::vector<QByteArray> *texts);

/// This process's own variables.
std::vector<QByteArray> ownEnvironment();

} // namespace platform
