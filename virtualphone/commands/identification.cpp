#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

const char manufacturer[] = "Virtual Phone";
const char model[] = "GPRS modem";
const char revision[] = "1.0";
const char serialNumber[] = "000000000000000";
const char subscriber[] = "001010123456789";

Result information(Call &call)
{
    if (!basicValue(call))
        return ResultCode::Error;
    call.texts += QByteArray(manufacturer) + ' ' + model;
    return ResultCode::Ok;
}

// Each has a test form that only says that the command is there.
Result sayWhenExecuted(Call &call, const char *text)
{
    if (call.command.form == ExecuteForm)
        call.texts += text;
    return ResultCode::Ok;
}

Result manufacturerName(Call &call)
{
    return sayWhenExecuted(call, manufacturer);
}

Result modelName(Call &call)
{
    return sayWhenExecuted(call, model);
}

Result revisionName(Call &call)
{
    return sayWhenExecuted(call, revision);
}

Result serial(Call &call)
{
    return sayWhenExecuted(call, serialNumber);
}

Result subscriberIdentity(Call &call)
{
    const PhoneError error = cardError(call.modem);
    if (call.command.form == ExecuteForm && error != PhoneError::None)
        return error;
    return sayWhenExecuted(call, subscriber);
}

Result capabilities(Call &call)
{
    return sayWhenExecuted(call, "+GCAP: +CGSM");
}

Result listOfCommands(Call &call)
{
    if (call.command.form == TestForm)
        return ResultCode::Ok;
    QByteArray lines;
    for (const Command &command : allCommands()) {
        // A register has no name without its number.
        if (qstrcmp(command.name, "S") != 0)
            lines += (lines.isEmpty() ? "AT" : "\r\nAT") + QByteArray(command.name);
    }
    call.texts += lines;
    return ResultCode::Ok;
}

} // namespace

QList<Command> identificationCommands()
{
    const int forms = ExecuteForm | TestForm;
    return {
        // I | I0 ...                   -> Virtual Phone GPRS modem, OK (V.250 6.1.3)
        {"I", BasicForm, information},
        // +CGMI | +CGMI=?              -> Virtual Phone, OK (27.007 5.1)
        {"+CGMI", forms, manufacturerName},
        // +CGMM | +CGMM=?              -> GPRS modem, OK (27.007 5.2)
        {"+CGMM", forms, modelName},
        // +CGMR | +CGMR=?              -> 1.0, OK (27.007 5.3)
        {"+CGMR", forms, revisionName},
        // +CGSN | +CGSN=?              -> 000000000000000, OK (27.007 5.4)
        {"+CGSN", forms, serial},
        // +GMI, +GMM, +GMR, +GSN       -> the same (V.250 6.1.4 to 6.1.7)
        {"+GMI", forms, manufacturerName},
        {"+GMM", forms, modelName},
        {"+GMR", forms, revisionName},
        {"+GSN", forms, serial},
        // +GCAP | +GCAP=?              -> +GCAP: +CGSM, OK (V.250 6.1.9)
        {"+GCAP", forms, capabilities},
        // +CIMI | +CIMI=?              -> 001010123456789, OK (27.007 5.6)
        {"+CIMI", forms, subscriberIdentity},
        // +CLAC | +CLAC=?              -> ATE, ATQ, ... on a line each, OK (27.007 8.37)
        {"+CLAC", forms, listOfCommands},
    };
}

} // namespace virtualphone
