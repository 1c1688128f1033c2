#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

// Rates that a modem can be held to; 0 has it find the PC's rate out.
const int rates[] = {0, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};

Result echo(Call &call)
{
    return setBasic(call, &call.modem.settings.echo);
}

Result verbose(Call &call)
{
    return setBasic(call, &call.modem.settings.verbose);
}

Result quiet(Call &call)
{
    return setBasic(call, &call.modem.settings.quiet);
}

Result connectForm(Call &call)
{
    return setBasic(call, &call.modem.settings.connectForm, 4);
}

Result carrierDetect(Call &call)
{
    return setBasic(call, &call.modem.settings.carrierDetect, 1);
}

Result dataTerminalReady(Call &call)
{
    return setBasic(call, &call.modem.settings.dataTerminalReady, 2);
}

Result resetToProfile(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    endCall(&call.modem);
    resetSettings(&call.modem);
    return ResultCode::Ok;
}

Result resetToFactory(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    resetSettings(&call.modem);
    return ResultCode::Ok;
}

Result viewSettings(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    const ModemSettings &settings = call.modem.settings;
    QByteArray text = QByteArray("E") + (settings.echo ? '1' : '0') + " V" +
                      (settings.verbose ? '1' : '0') + " Q" + (settings.quiet ? '1' : '0') + " X" +
                      QByteArray::number(settings.connectForm) + " &C" +
                      QByteArray::number(settings.carrierDetect) + " &D" +
                      QByteArray::number(settings.dataTerminalReady);
    for (int i = 0; i < ModemSettings::RegisterCount; ++i) {
        const int value = settings.registers[static_cast<std::size_t>(i)];
        if (value >= 0)
            text += " S" + QByteArray::number(i) + '=' + QByteArray::number(value);
    }
    call.texts += text;
    return ResultCode::Ok;
}

/// The values that a register takes.
bool fitsRegister(int number, int value)
{
    switch (number) {
    case 3:
    case 4:
    case 5:
        return value <= 127;
    case 6:
        return value >= 2 && value <= 10;
    case 7:
        return value >= 1 && value <= 255;
    case 10:
        return value >= 1 && value <= 254;
    default:
        return value <= 255;
    }
}

Result sRegister(Call &call)
{
    const int number = call.command.index;
    if (number >= ModemSettings::RegisterCount)
        return ResultCode::Error;
    int &value = call.modem.settings.registers[static_cast<std::size_t>(number)];
    if (value < 0)
        return ResultCode::Error;
    if (call.command.form == ReadForm) {
        call.texts += QByteArray::number(value).rightJustified(3, '0');
        return ResultCode::Ok;
    }
    const std::optional<int> wanted = basicValue(call);
    if (!wanted || !fitsRegister(number, *wanted))
        return ResultCode::Error;
    value = *wanted;
    return ResultCode::Ok;
}

Result rate(Call &call)
{
    if (call.command.form == ReadForm) {
        call.say(QByteArray::number(call.modem.settings.rate));
        return ResultCode::Ok;
    }
    if (call.command.form == TestForm) {
        QByteArray list;
        for (const int each : rates)
            list += (list.isEmpty() ? "" : ",") + QByteArray::number(each);
        call.say("(" + list + "),()");
        return ResultCode::Ok;
    }
    const std::optional<int> wanted = wholeNumber(call.command.parameter);
    for (const int each : rates) {
        if (wanted == each) {
            call.modem.settings.rate = each;
            return ResultCode::Ok;
        }
    }
    return ResultCode::Error;
}

Result flowControl(Call &call)
{
    ModemSettings &settings = call.modem.settings;
    if (call.command.form == ReadForm) {
        call.say(QByteArray::number(settings.flowOfPc) + ',' +
                 QByteArray::number(settings.flowOfModem));
        return ResultCode::Ok;
    }
    if (call.command.form == TestForm) {
        call.say("(0-2),(0-2)");
        return ResultCode::Ok;
    }
    const std::optional<QList<int>> wanted = numberParameters(call, 1, 2);
    if (!wanted || wanted->first() > 2 || wanted->last() > 2)
        return ResultCode::Error;
    settings.flowOfPc = wanted->first();
    if (wanted->size() == 2)
        settings.flowOfModem = wanted->last();
    return ResultCode::Ok;
}

} // namespace

QList<Command> lineCommands()
{
    return {
        // E0 | E1                      -> OK; from the next line on (V.250 6.2.4)
        {"E", BasicForm, echo},
        // Q0 | Q1                      -> OK, or nothing after Q1 (V.250 6.2.5)
        {"Q", BasicForm, quiet},
        // V0 | V1                      -> OK, already in the new form (V.250 6.2.6)
        {"V", BasicForm, verbose},
        // X0 ... X4                    -> OK; from X1 on CONNECT names the rate (V.250 6.2.7)
        {"X", BasicForm, connectForm},
        // &C0 | &C1                    -> OK (V.250 6.2.8)
        {"&C", BasicForm, carrierDetect},
        // &D0 | &D1 | &D2              -> OK (V.250 6.2.9)
        {"&D", BasicForm, dataTerminalReady},
        // Z | Z0                       -> OK; the connection is ended (V.250 6.1.1)
        {"Z", BasicForm, resetToProfile},
        // &F | &F0                     -> OK (V.250 6.1.2)
        {"&F", BasicForm, resetToFactory},
        // &V                           -> E1 V1 Q0 X0 &C1 &D2 S0=0 ..., OK; in no standard
        {"&V", BasicForm, viewSettings},
        // S3=13                        -> OK (V.250 5.3.2)
        // S3?                          -> 013, OK
        {"S", SetForm | ReadForm, sRegister},
        // +IPR=9600                    -> OK (V.250 6.2.10)
        // +IPR?                        -> +IPR: 0, OK
        // +IPR=?                       -> +IPR: (0,1200,...),(), OK
        {"+IPR", SetForm | ReadForm | TestForm, rate},
        // +IFC=2,2                     -> OK (V.250 6.2.12)
        // +IFC?                        -> +IFC: 2,2, OK
        // +IFC=?                       -> +IFC: (0-2),(0-2), OK
        {"+IFC", SetForm | ReadForm | TestForm, flowControl},
    };
}

} // namespace virtualphone
