#include "virtualphone/commands/tables.h"

#include <QDateTime>

namespace virtualphone {

namespace {

Result functionality(Call &call)
{
    ModemState &modem = call.modem;
    if (call.command.form == ReadForm) {
        call.say(QByteArray::number(modem.functionality));
        return ResultCode::Ok;
    }
    if (call.command.form == TestForm) {
        call.say("(0,1,4),(0,1)");
        return ResultCode::Ok;
    }
    const std::optional<QList<int>> wanted = numberParameters(call, 1, 2);
    if (!wanted || (wanted->first() != 0 && wanted->first() != 1 && wanted->first() != 4))
        return ResultCode::Error;
    const bool isReset = wanted->size() == 2 && wanted->last() == 1;
    if (wanted->size() == 2 && wanted->last() > 1)
        return ResultCode::Error;
    if (isReset) {
        resetSettings(&modem);
        modem.card.powerUp();
    }
    if (isReset || wanted->first() != 1)
        leavePacketService(&modem);
    modem.functionality = wanted->first();
    return ResultCode::Ok;
}

Result activity(Call &call)
{
    if (call.command.form == TestForm)
        call.say("(0,4)");
    else
        call.say(call.modem.connected ? "4" : "0");
    return ResultCode::Ok;
}

Result battery(Call &call)
{
    // Plugged in, the phone is charged by the PC.
    call.say(call.command.form == TestForm ? "(0-3),(0-100)" : "1,85");
    return ResultCode::Ok;
}

Result errorForm(Call &call)
{
    return numberParameter(call, &call.modem.settings.errorForm, 2);
}

Result characterSet(Call &call)
{
    ModemSettings &settings = call.modem.settings;
    if (call.command.form == ReadForm) {
        call.say('"' + settings.characterSet + '"');
        return ResultCode::Ok;
    }
    if (call.command.form == TestForm) {
        call.say("(\"GSM\",\"IRA\")");
        return ResultCode::Ok;
    }
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() != 1)
        return ResultCode::Error;
    const QByteArray wanted = parameters->first().value.toUpper();
    if (wanted != "GSM" && wanted != "IRA")
        return ResultCode::Error;
    settings.characterSet = wanted;
    return ResultCode::Ok;
}

// "26/11/22,01:02:03+04", with the quarters of an hour from UTC at its end.
const int clockLength = 20;
const int quarterOfAnHour = 900;

Result setClock(Call &call)
{
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() != 1 || !parameters->first().quoted)
        return ResultCode::Error;
    const QByteArray text = parameters->first().value;
    if (text.size() != clockLength || (text.at(17) != '+' && text.at(17) != '-'))
        return ResultCode::Error;
    const std::optional<int> quarters = wholeNumber(text.mid(18));
    QDateTime wanted =
        QDateTime::fromString("20" + QString::fromLatin1(text.left(17)), "yyyy/MM/dd,hh:mm:ss");
    if (!wanted.isValid() || !quarters || *quarters > 48)
        return ResultCode::Error;
    wanted.setTimeSpec(Qt::UTC);
    call.modem.clockZone = text.at(17) == '-' ? -*quarters : *quarters;
    call.modem.clockOffset = QDateTime::currentDateTimeUtc().secsTo(wanted);
    return ResultCode::Ok;
}

Result clock(Call &call)
{
    if (call.command.form == SetForm)
        return setClock(call);
    if (call.command.form == TestForm)
        return ResultCode::Ok;
    const int zone = call.modem.clockZone;
    const QDateTime now = QDateTime::currentDateTimeUtc().addSecs(call.modem.clockOffset);
    call.say('"' + now.toString("yy/MM/dd,hh:mm:ss").toLatin1() + (zone < 0 ? '-' : '+') +
             QByteArray::number(qAbs(zone)).rightJustified(2, '0') + '"');
    return ResultCode::Ok;
}

} // namespace

QList<Command> phoneCommands()
{
    return {
        // +CFUN=0 | +CFUN=1 | +CFUN=4  -> OK; 0 and 4 switch the radio off (27.007 8.2)
        // +CFUN=1,1                    -> OK; the phone starts anew
        // +CFUN?                       -> +CFUN: 1, OK
        // +CFUN=?                      -> +CFUN: (0,1,4),(0,1), OK
        {"+CFUN", SetForm | ReadForm | TestForm, functionality},
        // +CPAS                        -> +CPAS: 0 (ready) or 4 (in a call), OK (27.007 8.1)
        // +CPAS=?                      -> +CPAS: (0,4), OK
        {"+CPAS", ExecuteForm | TestForm, activity},
        // +CBC                         -> +CBC: 1,85, OK (27.007 8.4)
        // +CBC=?                       -> +CBC: (0-3),(0-100), OK
        {"+CBC", ExecuteForm | TestForm, battery},
        // +CMEE=1                      -> OK (27.007 9.1)
        // +CMEE?                       -> +CMEE: 0, OK
        // +CMEE=?                      -> +CMEE: (0-2), OK
        {"+CMEE", SetForm | ReadForm | TestForm, errorForm},
        // +CSCS="IRA"                  -> OK (27.007 5.5)
        // +CSCS?                       -> +CSCS: "GSM", OK
        // +CSCS=?                      -> +CSCS: ("GSM","IRA"), OK
        {"+CSCS", SetForm | ReadForm | TestForm, characterSet},
        // +CCLK="26/11/22,01:02:03+04" -> OK, or ERROR for what is no time (27.007 8.15)
        // +CCLK?                       -> +CCLK: "26/11/22,01:02:03+04", OK
        // +CCLK=?                      -> OK
        {"+CCLK", SetForm | ReadForm | TestForm, clock},
    };
}

} // namespace virtualphone
