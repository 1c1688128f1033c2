#pragma once

#include <QStringList>

/// What the program exits with.
enum ExitCode { Done = 0, Failed = 1, WrongUse = 2 };

/// Carries one command out on the machine in a state directory: its name and
/// arguments as on the command line. Results go to standard output, errors to
/// standard error. Dialling runs the event loop of the application object.
int runCommand(const QString &directory, const QStringList &arguments);

/// The commands, for --help.
QString commandHelp();
