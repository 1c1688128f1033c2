#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

const char ownNumber[] = "+10005550100";

QByteArray cardStateWord(SimCard::State state)
{
    switch (state) {
    case SimCard::State::PinRequired:
        return "SIM PIN";
    case SimCard::State::PukRequired:
        return "SIM PUK";
    default:
        return "READY";
    }
}

bool isUnusable(SimCard::State state)
{
    return state == SimCard::State::Missing || state == SimCard::State::Dead;
}

Result enterPin(Call &call)
{
    SimCard &card = call.modem.card;
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() > 2)
        return ResultCode::Error;
    const QByteArray first = parameters->first().value;
    if (isUnusable(card.state()))
        return cardError(call.modem);
    if (card.state() == SimCard::State::Ready)
        return PhoneError::NotAllowed;
    if (card.state() == SimCard::State::PinRequired && parameters->size() == 1)
        return card.enterPin(first) ? Result() : Result(PhoneError::IncorrectPassword);
    if (card.state() == SimCard::State::PukRequired && parameters->size() == 2)
        return card.enterPuk(first, parameters->last().value)
                   ? Result()
                   : Result(PhoneError::IncorrectPassword);
    return cardError(call.modem);
}

Result pin(Call &call)
{
    if (call.command.form == SetForm)
        return enterPin(call);
    if (call.command.form == TestForm)
        return ResultCode::Ok;
    const SimCard::State state = call.modem.card.state();
    if (isUnusable(state))
        return cardError(call.modem);
    call.say(cardStateWord(state));
    return ResultCode::Ok;
}

Result facilityLock(Call &call)
{
    if (call.command.form == TestForm) {
        call.say("(\"SC\")");
        return ResultCode::Ok;
    }
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() < 2 || parameters->size() > 3 ||
        parameters->first().value.toUpper() != "SC")
        return ResultCode::Error;
    const std::optional<int> mode = wholeNumber(parameters->at(1).value);
    if (!mode || *mode > 2)
        return ResultCode::Error;
    const PhoneError error = cardError(call.modem);
    if (error != PhoneError::None)
        return error;
    SimCard &card = call.modem.card;
    if (*mode == 2) {
        call.say(card.isLocked() ? "1" : "0");
        return ResultCode::Ok;
    }
    if (parameters->size() < 3)
        return ResultCode::Error;
    return card.setLocked(*mode == 1, parameters->last().value)
               ? Result()
               : Result(PhoneError::IncorrectPassword);
}

Result numberOfSubscriber(Call &call)
{
    const PhoneError error = cardError(call.modem);
    if (call.command.form == TestForm)
        return ResultCode::Ok;
    if (error != PhoneError::None)
        return error;
    call.say("\"\",\"" + QByteArray(ownNumber) + "\",145");
    return ResultCode::Ok;
}

} // namespace

QList<Command> cardCommands()
{
    return {
        // +CPIN?                       -> +CPIN: READY, SIM PIN or SIM PUK, OK, or +CME
        //                                 ERROR: 10 without a card (27.007 8.3)
        // +CPIN="1234"                 -> OK, or +CME ERROR: 16 when it is wrong
        // +CPIN="12345678","4321"      -> OK; the PUK and a new PIN
        // +CPIN=?                      -> OK
        {"+CPIN", SetForm | ReadForm | TestForm, pin},
        // +CLCK="SC",2                 -> +CLCK: 0, OK; whether the PIN is asked for (27.007 7.4)
        // +CLCK="SC",1,"1234"          -> OK, or +CME ERROR: 16 when it is wrong
        // +CLCK=?                      -> +CLCK: ("SC"), OK
        {"+CLCK", SetForm | TestForm, facilityLock},
        // +CNUM                        -> +CNUM: "","+10005550100",145, OK (27.007 7.1)
        // +CNUM=?                      -> OK
        {"+CNUM", ExecuteForm | TestForm, numberOfSubscriber},
    };
}

} // namespace virtualphone
