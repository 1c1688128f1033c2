#pragma once

#include <QByteArray>
#include <QList>

#include <optional>

namespace virtualphone {

/// The forms that a command can take on the line. Flags: a command has several.
enum CommandForm {
    BasicForm = 1,   ///< E, E0, &F
    ExecuteForm = 2, ///< +CMD
    SetForm = 4,     ///< +CMD=..., S0=...
    ReadForm = 8,    ///< +CMD?, S0?
    TestForm = 16,   ///< +CMD=?
};

/// One command of a command line.
struct ParsedCommand {
    QByteArray name; ///< "E", "&F", "S", "+CSQ"; names no command when it is malformed
    CommandForm form = BasicForm;
    QByteArray parameter; ///< after the name or the "="
    int index = 0;        ///< of a register: the n of Sn
};

/// A command line in upper case and without blanks, except between quotes.
QByteArray normalised(const QByteArray &line);

/// Cuts the first command off the front of a normalised line, which must not be
/// empty and has lost its "AT". What follows a malformed command is dropped.
ParsedCommand takeCommand(QByteArray *line);

/// One value of a parameter list.
struct Parameter {
    bool quoted = false;
    QByteArray value; ///< without its quotes
};

/// Reads a list such as `1,"IP",,0`; a value that is left out is an empty one.
/// Nothing when the list is malformed: a string that is not closed, or text
/// beside a string.
std::optional<QList<Parameter>> splitParameters(const QByteArray &text);

/// Reads a whole number of one to nine digits, without a sign or blanks.
std::optional<int> wholeNumber(const QByteArray &text);

} // namespace virtualphone
