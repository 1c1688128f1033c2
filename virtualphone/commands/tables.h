#pragma once

#include "virtualphone/commands/call.h"

#include <QList>

// The commands that the modem knows, by subject. Above each row stand its wire
// formats, without the leading "AT" and the final carriage return, and the
// standard that it is from: ITU-T V.250, 3GPP TS 27.007 or 3GPP TS 27.005.
// Answers are framed by formatText and formatResult.
namespace virtualphone {

struct Command {
    const char *name;
    int forms; ///< flags of CommandForm
    Result (*handler)(Call &);
};

QList<Command> lineCommands();           ///< the line between the PC and the modem
QList<Command> identificationCommands(); ///< what phone this is
QList<Command> phoneCommands();          ///< the phone itself: radio, battery, clock
QList<Command> cardCommands();           ///< the card and its PIN
QList<Command> networkCommands();        ///< registration and operators
QList<Command> packetCommands();         ///< the packet service and its contexts
QList<Command> callCommands();           ///< connections
QList<Command> messageCommands();        ///< the store of text messages

/// All of them.
const QList<Command> &allCommands();

} // namespace virtualphone
