#pragma once

#include <QStringList>

class QIODevice;

/// Exit codes of the command.
enum CommandResult {
    CommandDone = 0,
    CommandFailed = 1, // something could not be read or written; nothing was changed
    CommandWrongUse = 2,
};

/// Runs `tolvane-operators` with these arguments, the program's name first.
/// Writes UTF-8 to the open devices. No display is needed.
int runOperatorsCommand(const QStringList &arguments, QIODevice *output, QIODevice *errors);
