#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

Result signalQuality(Call &call)
{
    if (call.command.form == TestForm)
        call.say("(0-31,99),(99)");
    else
        call.say(call.registration().isRegistered() ? "21,99" : "99,99");
    return ResultCode::Ok;
}

Result registration(Call &call)
{
    if (call.command.form != ReadForm)
        return numberParameter(call, &call.modem.settings.registrationReports, 2);
    call.texts += registrationText("+CREG", call.modem.settings.registrationReports,
                                   call.registration().voice);
    return ResultCode::Ok;
}

QByteArray operatorText(const NetworkName &name, int form)
{
    if (form == 0)
        return '"' + name.longName + '"';
    return '"' + (form == 1 ? name.shortName : name.number) + '"';
}

QByteArray foundOperator(const NetworkName &name, int state)
{
    return '(' + QByteArray::number(state) + ',' + operatorText(name, 0) + ',' +
           operatorText(name, 1) + ',' + operatorText(name, 2) + ')';
}

Result scan(Call &call)
{
    const PhoneError error = cardError(call.modem);
    if (error != PhoneError::None)
        return error;
    if (call.modem.functionality != 1)
        return PhoneError::NoNetworkService;
    // 1: available, 2: current, 3: forbidden
    const bool isHere = call.registration().isRegistered();
    call.delayMs += call.network.scanTimeMs();
    call.say(foundOperator(call.network.name(), isHere ? 2 : 1) + ',' +
             foundOperator(call.network.forbiddenName(), 3) + ",,(0-4),(0-2)");
    return ResultCode::Ok;
}

/// Registers with the operator of that name.
Result chooseOperator(Call &call, const QByteArray &name, int form, bool orAnyOther)
{
    ModemState &modem = call.modem;
    const QByteArray quoted = '"' + name + '"';
    if (quoted == operatorText(call.network.name(), form)) {
        modem.operatorChoice = OperatorChoice::Manual;
        return ResultCode::Ok;
    }
    if (orAnyOther) {
        modem.operatorChoice = OperatorChoice::Automatic;
        return ResultCode::Ok;
    }
    if (quoted == operatorText(call.network.forbiddenName(), form))
        return PhoneError::NetworkNotAllowed;
    return PhoneError::NoNetworkService;
}

Result setOperator(Call &call)
{
    ModemState &modem = call.modem;
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() > 3)
        return ResultCode::Error;
    const std::optional<int> mode = wholeNumber(parameters->first().value);
    const std::optional<int> form =
        parameters->size() > 1 ? wholeNumber(parameters->at(1).value) : 0;
    if (!mode || *mode > 4 || !form || *form > 2)
        return ResultCode::Error;
    const bool namesOne = *mode == 1 || *mode == 4;
    if (namesOne != (parameters->size() == 3) || (*mode == 3 && parameters->size() != 2))
        return ResultCode::Error;
    if (*mode == 3) {
        modem.settings.operatorForm = *form;
        return ResultCode::Ok;
    }
    const PhoneError error = cardError(modem);
    if (error != PhoneError::None)
        return error;
    if (*mode == 2) {
        leavePacketService(&modem);
        modem.operatorChoice = OperatorChoice::Left;
        return ResultCode::Ok;
    }
    if (namesOne)
        return chooseOperator(call, parameters->last().value, *form, *mode == 4);
    modem.operatorChoice = OperatorChoice::Automatic;
    return ResultCode::Ok;
}

Result operators(Call &call)
{
    if (call.command.form == SetForm)
        return setOperator(call);
    if (call.command.form == TestForm)
        return scan(call);
    const PhoneError error = cardError(call.modem);
    if (error != PhoneError::None)
        return error;
    const int form = call.modem.settings.operatorForm;
    QByteArray text = QByteArray::number(static_cast<int>(call.modem.operatorChoice));
    if (call.registration().isRegistered())
        text += ',' + QByteArray::number(form) + ',' + operatorText(call.network.name(), form);
    call.say(text);
    return ResultCode::Ok;
}

} // namespace

QList<Command> networkCommands()
{
    return {
        // +CSQ                         -> +CSQ: 21,99, OK; 99,99 without a network (27.007 8.5)
        // +CSQ=?                       -> +CSQ: (0-31,99),(99), OK
        {"+CSQ", ExecuteForm | TestForm, signalQuality},
        // +CREG=2                      -> OK; +CREG: 1,"0001","0001" follows each change
        //                                 (27.007 7.2)
        // +CREG?                       -> +CREG: 0,1, OK
        // +CREG=?                      -> +CREG: (0-2), OK
        {"+CREG", SetForm | ReadForm | TestForm, registration},
        // +COPS?                       -> +COPS: 0,0,"Virtual Network", OK (27.007 7.3)
        // +COPS=0                      -> OK
        // +COPS=1,2,"00101"            -> OK, or +CME ERROR: 32 or 30
        // +COPS=2                      -> OK; the phone leaves the network
        // +COPS=3,2                    -> OK; +COPS? names the network by its number
        // +COPS=?                      -> after the time of a scan: +COPS:
        //                                 (2,"Virtual Network",...),(3,...),,(0-4),(0-2), OK
        {"+COPS", SetForm | ReadForm | TestForm, operators},
    };
}

} // namespace virtualphone
