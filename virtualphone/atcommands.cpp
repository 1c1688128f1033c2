#include "virtualphone/atcommands.h"

#include "virtualphone/commands/call.h"
#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

const Command *findCommand(const QByteArray &name)
{
    for (const Command &command : allCommands()) {
        if (name == command.name)
            return &command;
    }
    return nullptr;
}

} // namespace

const QList<Command> &allCommands()
{
    static const QList<Command> commands = lineCommands() + identificationCommands() +
                                           phoneCommands() + cardCommands() + networkCommands() +
                                           packetCommands() + callCommands() + messageCommands();
    return commands;
}

CommandAnswer executeCommandLine(const QByteArray &line, const PhoneNetwork &network,
                                 ModemState *modem)
{
    Call call{*modem, network, {}, {}, 0};
    Result result;
    QByteArray rest = normalised(line).mid(2);
    while (result.code == ResultCode::Ok && !rest.isEmpty()) {
        call.command = takeCommand(&rest);
        const Command *command = findCommand(call.command.name);
        if (command && (command->forms & call.command.form))
            result = command->handler(call);
        else
            result = ResultCode::Error;
    }
    return {call.texts, result, call.delayMs};
}

} // namespace virtualphone
