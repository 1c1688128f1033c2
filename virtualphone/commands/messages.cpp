#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

// The card has room for ten messages and holds none.
const char memoryState[] = "0,10";

PhoneError messageError(const ModemState &modem)
{
    switch (cardError(modem)) {
    case PhoneError::None:
        return PhoneError::None;
    case PhoneError::PinRequired:
        return PhoneError::MessagePinRequired;
    case PhoneError::PukRequired:
        return PhoneError::MessagePukRequired;
    default:
        return PhoneError::MessageCardMissing;
    }
}

Result messageForm(Call &call)
{
    return numberParameter(call, &call.modem.settings.messageForm, 1);
}

Result messageMemory(Call &call)
{
    if (call.command.form == TestForm) {
        call.say("(\"SM\"),(\"SM\"),(\"SM\")");
        return ResultCode::Ok;
    }
    const QByteArray state = memoryState;
    if (call.command.form == SetForm) {
        const std::optional<QList<Parameter>> wanted = splitParameters(call.command.parameter);
        if (!wanted || wanted->size() > 3)
            return ResultCode::Error;
        for (const Parameter &each : *wanted) {
            if (each.value.toUpper() != "SM")
                return ResultCode::Error;
        }
    }
    const PhoneError error = messageError(call.modem);
    if (error != PhoneError::None)
        return error;
    if (call.command.form == SetForm)
        call.say(state + ',' + state + ',' + state);
    else
        call.say("\"SM\"," + state + ",\"SM\"," + state + ",\"SM\"," + state);
    return ResultCode::Ok;
}

Result setMessageCentre(Call &call)
{
    const std::optional<QList<Parameter>> wanted = splitParameters(call.command.parameter);
    if (!wanted || wanted->size() > 2 || !wanted->first().quoted)
        return ResultCode::Error;
    const QByteArray number = wanted->first().value;
    const QByteArray digits = number.startsWith('+') ? number.mid(1) : number;
    if (digits.isEmpty() || digits.size() > 20)
        return ResultCode::Error;
    for (const char c : digits) {
        if (c < '0' || c > '9')
            return ResultCode::Error;
    }
    const int usualType = number.startsWith('+') ? 145 : 129;
    const std::optional<int> type =
        wanted->size() == 2 ? wholeNumber(wanted->last().value) : usualType;
    if (!type || *type > 255)
        return ResultCode::Error;
    call.modem.messageCentre = number;
    call.modem.messageCentreType = *type;
    return ResultCode::Ok;
}

Result messageCentre(Call &call)
{
    if (call.command.form == TestForm)
        return ResultCode::Ok;
    const PhoneError error = messageError(call.modem);
    if (error != PhoneError::None)
        return error;
    if (call.command.form == SetForm)
        return setMessageCentre(call);
    call.say('"' + call.modem.messageCentre + "\"," +
             QByteArray::number(call.modem.messageCentreType));
    return ResultCode::Ok;
}

} // namespace

QList<Command> messageCommands()
{
    return {
        // +CMGF=1                      -> OK (27.005 3.2.3)
        // +CMGF?                       -> +CMGF: 0, OK
        // +CMGF=?                      -> +CMGF: (0,1), OK
        {"+CMGF", SetForm | ReadForm | TestForm, messageForm},
        // +CPMS="SM"                   -> +CPMS: 0,10,0,10,0,10, OK (27.005 3.2.2)
        // +CPMS?                       -> +CPMS: "SM",0,10,"SM",0,10,"SM",0,10, OK, or +CMS
        //                                 ERROR: 310 without a card
        // +CPMS=?                      -> +CPMS: ("SM"),("SM"),("SM"), OK
        {"+CPMS", SetForm | ReadForm | TestForm, messageMemory},
        // +CSCA="+10005550101",145     -> OK (27.005 3.3.1)
        // +CSCA?                       -> +CSCA: "+10005550101",145, OK
        // +CSCA=?                      -> OK
        {"+CSCA", SetForm | ReadForm | TestForm, messageCentre},
    };
}

} // namespace virtualphone
