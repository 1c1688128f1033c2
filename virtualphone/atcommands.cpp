#include "virtualphone/atcommands.h"

#include "virtualphone/commandparser.h"
#include "virtualphone/phonenetwork.h"

#include <optional>

namespace virtualphone {

namespace {

struct Call {
    ModemState &modem;
    const PhoneNetwork &network;
    const bool echoDefault;
    ParsedCommand command;
    QList<QByteArray> texts;
};

// The value of a basic command; one that is left out counts as 0.
std::optional<int> basicValue(const Call &call)
{
    return call.command.parameter.isEmpty() ? 0 : wholeNumber(call.command.parameter);
}

ResultCode setFlag(const Call &call, bool *flag)
{
    const std::optional<int> value = basicValue(call);
    if (!value || *value > 1)
        return ResultCode::Error;
    *flag = *value == 1;
    return ResultCode::Ok;
}

void resetSettings(Call &call)
{
    call.modem.echo = call.echoDefault;
    call.modem.verbose = true;
    call.modem.quiet = false;
}

void disconnect(ModemState &modem)
{
    modem.connected = false;
    modem.dataState = false;
}

ResultCode echo(Call &call)
{
    return setFlag(call, &call.modem.echo);
}
ResultCode verbose(Call &call)
{
    return setFlag(call, &call.modem.verbose);
}
ResultCode quiet(Call &call)
{
    return setFlag(call, &call.modem.quiet);
}

ResultCode resetToProfile(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    disconnect(call.modem);
    resetSettings(call);
    return ResultCode::Ok;
}

ResultCode resetToFactory(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    resetSettings(call);
    return ResultCode::Ok;
}

ResultCode hangUp(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    disconnect(call.modem);
    return ResultCode::Ok;
}

ResultCode backToData(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    if (!call.modem.connected)
        return ResultCode::NoCarrier;
    call.modem.dataState = true;
    return ResultCode::Connect;
}

const char manufacturer[] = "Virtual Phone";
const char model[] = "GPRS modem";
const char serialNumber[] = "000000000000000";

ResultCode information(Call &call)
{
    if (!basicValue(call))
        return ResultCode::Error;
    call.texts += QByteArray(manufacturer) + ' ' + model;
    return ResultCode::Ok;
}

ResultCode manufacturerName(Call &call)
{
    if (call.command.form == ExecuteForm)
        call.texts += manufacturer;
    return ResultCode::Ok;
}

ResultCode modelName(Call &call)
{
    if (call.command.form == ExecuteForm)
        call.texts += model;
    return ResultCode::Ok;
}

ResultCode serial(Call &call)
{
    if (call.command.form == ExecuteForm)
        call.texts += serialNumber;
    return ResultCode::Ok;
}

ResultCode signalQuality(Call &call)
{
    call.texts += call.command.form == ExecuteForm ? "+CSQ: 21,99" : "+CSQ: (0-31,99),(99)";
    return ResultCode::Ok;
}

ResultCode registration(Call &call)
{
    call.texts += call.command.form == ReadForm ? "+CREG: 0,1" : "+CREG: (0)";
    return ResultCode::Ok;
}

ResultCode attachment(Call &call)
{
    if (call.command.form == ReadForm) {
        call.texts += QByteArray("+CGATT: ") + (call.modem.attached ? '1' : '0');
    } else if (call.command.form == TestForm) {
        call.texts += "+CGATT: (0,1)";
    } else if (call.command.parameter == "0") {
        // Contexts live in the packet service: leaving it ends the connection.
        disconnect(call.modem);
        call.modem.attached = false;
    } else if (call.command.parameter == "1") {
        call.modem.attached = true;
    } else {
        return ResultCode::Error;
    }
    return ResultCode::Ok;
}

bool isPrintable(const QByteArray &text)
{
    for (const char c : text) {
        if (c < 0x20 || c > 0x7E)
            return false;
    }
    return true;
}

ResultCode setContext(Call &call)
{
    const std::optional<QList<Parameter>> parameters = splitParameters(call.command.parameter);
    if (!parameters || parameters->size() > 6 || parameters->at(0).quoted)
        return ResultCode::Error;
    const std::optional<int> id = wholeNumber(parameters->at(0).value);
    if (!id || *id < 1 || *id > LastContext)
        return ResultCode::Error;
    if (parameters->size() == 1) {
        call.modem.contexts.erase(*id);
        return ResultCode::Ok;
    }
    PacketDataContext context;
    QByteArray *const strings[] = {&context.type, &context.apn, &context.address};
    for (int i = 1; i < parameters->size(); ++i) {
        const Parameter &parameter = parameters->at(i);
        const bool isLeftOut = !parameter.quoted && parameter.value.isEmpty();
        if (i <= 3) {
            if (!parameter.quoted && !isLeftOut)
                return ResultCode::Error;
            *strings[i - 1] = parameter.value;
        } else if (!isLeftOut && (parameter.quoted || parameter.value != "0")) {
            return ResultCode::Error; // no data or header compression
        }
    }
    if (context.type.toUpper() != "IP" || context.apn.size() > MaximumApnLength ||
        !isPrintable(context.apn) || !isPrintable(context.address))
        return ResultCode::Error;
    context.type = "IP";
    call.modem.contexts[*id] = context;
    return ResultCode::Ok;
}

ResultCode contextDefinition(Call &call)
{
    if (call.command.form == SetForm)
        return setContext(call);
    if (call.command.form == TestForm) {
        call.texts += "+CGDCONT: (1-" + QByteArray::number(LastContext) + "),\"IP\",,,(0),(0)";
        return ResultCode::Ok;
    }
    QByteArray lines;
    for (const auto &[id, context] : call.modem.contexts) {
        if (!lines.isEmpty())
            lines += "\r\n";
        lines += "+CGDCONT: " + QByteArray::number(id) + ",\"" + context.type + "\",\"" +
                 context.apn + "\",\"" + context.address + "\",0,0";
    }
    if (!lines.isEmpty())
        call.texts += lines;
    return ResultCode::Ok;
}

// The context that *99[*[address][*[protocol][*[context]]]]# names; 0 when the
// text is not a packet-data number.
int dialledContext(QByteArray dialString)
{
    if (dialString.startsWith('T') || dialString.startsWith('P'))
        dialString.remove(0, 1);
    if (!dialString.startsWith("*99") || !dialString.endsWith('#'))
        return 0;
    const QByteArray rest = dialString.mid(3, dialString.size() - 4);
    if (rest.isEmpty())
        return 1;
    const QList<QByteArray> parts = rest.split('*');
    if (!parts.at(0).isEmpty() || parts.size() > 4)
        return 0;
    const QByteArray protocol = parts.value(2);
    if (!protocol.isEmpty() && protocol != "1" && protocol != "PPP")
        return 0;
    const QByteArray id = parts.value(3);
    return id.isEmpty() ? 1 : wholeNumber(id).value_or(0);
}

ResultCode dial(Call &call)
{
    if (call.modem.connected)
        return ResultCode::Error;
    const int id = dialledContext(call.command.parameter);
    // Circuit-switched calls are not offered by this network.
    if (id == 0)
        return ResultCode::NoCarrier;
    const auto context = call.modem.contexts.find(id);
    if (context == call.modem.contexts.end())
        return ResultCode::Error;
    call.modem.attached = true;
    if (!call.network.acceptsApn(context->second.apn))
        return ResultCode::NoCarrier;
    call.modem.connected = true;
    call.modem.dataState = true;
    return ResultCode::Connect;
}

struct Command {
    const char *name;
    int forms;
    ResultCode (*handler)(Call &);
};

// Wire formats without the leading "AT" and the final carriage return; answers
// are framed by formatInformationText and formatResultCode.
const Command commandTable[] = {
    // E0 | E1                      -> OK; from the next line on
    {"E", BasicForm, echo},
    // V0 | V1                      -> OK, already in the new form
    {"V", BasicForm, verbose},
    // Q0 | Q1                      -> OK, or nothing after Q1
    {"Q", BasicForm, quiet},
    // Z | Z0                       -> OK; the connection is ended
    {"Z", BasicForm, resetToProfile},
    // &F | &F0                     -> OK
    {"&F", BasicForm, resetToFactory},
    // H | H0                       -> OK; the connection is ended
    {"H", BasicForm, hangUp},
    // O | O0                       -> CONNECT, or NO CARRIER when there is no connection
    {"O", BasicForm, backToData},
    // I | I0 ...                   -> Virtual Phone GPRS modem, OK
    {"I", BasicForm, information},
    // D[T|P]*99#, D*99***1#        -> CONNECT, NO CARRIER (refused by the network) or
    //                                 ERROR (context not defined, or already connected)
    {"D", BasicForm, dial},
    // +CGMI | +CGMI=?              -> Virtual Phone, OK
    {"+CGMI", ExecuteForm | TestForm, manufacturerName},
    // +CGMM | +CGMM=?              -> GPRS modem, OK
    {"+CGMM", ExecuteForm | TestForm, modelName},
    // +CGSN | +CGSN=?              -> 000000000000000, OK
    {"+CGSN", ExecuteForm | TestForm, serial},
    // +CSQ                         -> +CSQ: 21,99, OK
    // +CSQ=?                       -> +CSQ: (0-31,99),(99), OK
    {"+CSQ", ExecuteForm | TestForm, signalQuality},
    // +CREG?                       -> +CREG: 0,1, OK
    // +CREG=?                      -> +CREG: (0), OK
    {"+CREG", ReadForm | TestForm, registration},
    // +CGATT=0 | +CGATT=1          -> OK
    // +CGATT?                      -> +CGATT: 1, OK
    // +CGATT=?                     -> +CGATT: (0,1), OK
    {"+CGATT", SetForm | ReadForm | TestForm, attachment},
    // +CGDCONT=1,"IP","internet"[,"address"[,0[,0]]] -> OK, or ERROR when malformed
    // +CGDCONT=1                   -> OK; the context is no longer defined
    // +CGDCONT?                    -> +CGDCONT: 1,"IP","internet","",0,0 for each, OK
    // +CGDCONT=?                   -> +CGDCONT: (1-3),"IP",,,(0),(0), OK
    {"+CGDCONT", SetForm | ReadForm | TestForm, contextDefinition},
};

const Command *findCommand(const QByteArray &name)
{
    for (const Command &command : commandTable) {
        if (name == command.name)
            return &command;
    }
    return nullptr;
}

} // namespace

CommandAnswer executeCommandLine(const QByteArray &line, const PhoneNetwork &network,
                                 bool echoDefault, ModemState *modem)
{
    Call call{*modem, network, echoDefault, {}, {}};
    ResultCode result = ResultCode::Ok;
    QByteArray rest = normalised(line).mid(2);
    while (result == ResultCode::Ok && !rest.isEmpty()) {
        call.command = takeCommand(&rest);
        const Command *command = findCommand(call.command.name);
        if (command && (command->forms & call.command.form))
            result = command->handler(call);
        else
            result = ResultCode::Error;
    }
    return {call.texts, result};
}

QByteArray formatInformationText(const QByteArray &text, const ModemState &modem)
{
    return modem.verbose ? "\r\n" + text + "\r\n" : text + "\r\n";
}

QByteArray formatResultCode(ResultCode result, const ModemState &modem)
{
    if (modem.quiet)
        return {};
    if (!modem.verbose)
        return QByteArray::number(static_cast<int>(result)) + '\r';
    switch (result) {
    case ResultCode::Ok:
        return "\r\nOK\r\n";
    case ResultCode::Connect:
        return "\r\nCONNECT\r\n";
    case ResultCode::NoCarrier:
        return "\r\nNO CARRIER\r\n";
    case ResultCode::Error:
        break;
    }
    return "\r\nERROR\r\n";
}

} // namespace virtualphone
