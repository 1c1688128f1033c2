#include "virtualphone/atcommands.h"

#include "virtualphone/phonenetwork.h"

#include <cctype>
#include <optional>

namespace virtualphone {

namespace {

enum Form {
    Basic = 1,   // E, E0, &F
    Execute = 2, // +CMD
    Set = 4,     // +CMD=...
    Read = 8,    // +CMD?
    Test = 16,   // +CMD=?
};

struct Call {
    ModemState &modem;
    const PhoneNetwork &network;
    const bool echoDefault;
    Form form = Basic;
    QByteArray parameter; // after the name or the "="
    QList<QByteArray> texts;
};

struct Parameter {
    bool quoted = false;
    QByteArray value;
};

// value,"string",,value: a quote inside a string or text beside one makes the
// whole list malformed.
std::optional<QList<Parameter>> splitParameters(const QByteArray &text)
{
    QList<Parameter> list;
    int i = 0;
    for (;;) {
        Parameter parameter;
        int end = 0;
        if (i < text.size() && text.at(i) == '"') {
            const auto close = static_cast<int>(text.indexOf('"', i + 1));
            if (close < 0)
                return std::nullopt;
            parameter.quoted = true;
            parameter.value = text.mid(i + 1, close - i - 1);
            end = close + 1;
        } else {
            const auto comma = static_cast<int>(text.indexOf(',', i));
            end = comma < 0 ? static_cast<int>(text.size()) : comma;
            parameter.value = text.mid(i, end - i);
            if (parameter.value.contains('"'))
                return std::nullopt;
        }
        list.append(parameter);
        if (end == text.size())
            return list;
        if (text.at(end) != ',')
            return std::nullopt;
        i = end + 1;
    }
}

// Digits only: toInt would also take a sign or a blank.
std::optional<int> number(const QByteArray &text)
{
    if (text.isEmpty() || text.size() > 9)
        return std::nullopt;
    for (const char c : text) {
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return std::nullopt;
    }
    return text.toInt();
}

// The value of a basic command; one that is left out counts as 0.
std::optional<int> basicValue(const Call &call)
{
    return call.parameter.isEmpty() ? 0 : number(call.parameter);
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
    if (call.form == Execute)
        call.texts += manufacturer;
    return ResultCode::Ok;
}

ResultCode modelName(Call &call)
{
    if (call.form == Execute)
        call.texts += model;
    return ResultCode::Ok;
}

ResultCode serial(Call &call)
{
    if (call.form == Execute)
        call.texts += serialNumber;
    return ResultCode::Ok;
}

ResultCode signalQuality(Call &call)
{
    call.texts += call.form == Execute ? "+CSQ: 21,99" : "+CSQ: (0-31,99),(99)";
    return ResultCode::Ok;
}

ResultCode registration(Call &call)
{
    call.texts += call.form == Read ? "+CREG: 0,1" : "+CREG: (0)";
    return ResultCode::Ok;
}

ResultCode attachment(Call &call)
{
    if (call.form == Read) {
        call.texts += QByteArray("+CGATT: ") + (call.modem.attached ? '1' : '0');
    } else if (call.form == Test) {
        call.texts += "+CGATT: (0,1)";
    } else if (call.parameter == "0") {
        // Contexts live in the packet service: leaving it ends the connection.
        disconnect(call.modem);
        call.modem.attached = false;
    } else if (call.parameter == "1") {
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
    const std::optional<QList<Parameter>> parameters = splitParameters(call.parameter);
    if (!parameters || parameters->size() > 6 || parameters->at(0).quoted)
        return ResultCode::Error;
    const std::optional<int> id = number(parameters->at(0).value);
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
    if (call.form == Set)
        return setContext(call);
    if (call.form == Test) {
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
// text is no packet-data number.
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
    return id.isEmpty() ? 1 : number(id).value_or(0);
}

ResultCode dial(Call &call)
{
    if (call.modem.connected)
        return ResultCode::Error;
    const int id = dialledContext(call.parameter);
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
    {"E", Basic, echo},
    // V0 | V1                      -> OK, already in the new form
    {"V", Basic, verbose},
    // Q0 | Q1                      -> OK, or nothing after Q1
    {"Q", Basic, quiet},
    // Z | Z0                       -> OK; the connection is ended
    {"Z", Basic, resetToProfile},
    // &F | &F0                     -> OK
    {"&F", Basic, resetToFactory},
    // H | H0                       -> OK; the connection is ended
    {"H", Basic, hangUp},
    // O | O0                       -> CONNECT, or NO CARRIER when there is no connection
    {"O", Basic, backToData},
    // I | I0 ...                   -> Virtual Phone GPRS modem, OK
    {"I", Basic, information},
    // D[T|P]*99#, D*99***1#        -> CONNECT, NO CARRIER (refused by the network) or
    //                                 ERROR (context not defined, or already connected)
    {"D", Basic, dial},
    // +CGMI | +CGMI=?              -> Virtual Phone, OK
    {"+CGMI", Execute | Test, manufacturerName},
    // +CGMM | +CGMM=?              -> GPRS modem, OK
    {"+CGMM", Execute | Test, modelName},
    // +CGSN | +CGSN=?              -> 000000000000000, OK
    {"+CGSN", Execute | Test, serial},
    // +CSQ                         -> +CSQ: 21,99, OK
    // +CSQ=?                       -> +CSQ: (0-31,99),(99), OK
    {"+CSQ", Execute | Test, signalQuality},
    // +CREG?                       -> +CREG: 0,1, OK
    // +CREG=?                      -> +CREG: (0), OK
    {"+CREG", Read | Test, registration},
    // +CGATT=0 | +CGATT=1          -> OK
    // +CGATT?                      -> +CGATT: 1, OK
    // +CGATT=?                     -> +CGATT: (0,1), OK
    {"+CGATT", Set | Read | Test, attachment},
    // +CGDCONT=1,"IP","internet"[,"address"[,0[,0]]] -> OK, or ERROR when malformed
    // +CGDCONT=1                   -> OK; the context is no longer defined
    // +CGDCONT?                    -> +CGDCONT: 1,"IP","internet","",0,0 for each, OK
    // +CGDCONT=?                   -> +CGDCONT: (1-3),"IP",,,(0),(0), OK
    {"+CGDCONT", Set | Read | Test, contextDefinition},
};

const Command *findCommand(const QByteArray &name)
{
    for (const Command &command : commandTable) {
        if (name == command.name)
            return &command;
    }
    return nullptr;
}

// Upper case and without blanks, except between quotes.
QByteArray normalised(const QByteArray &line)
{
    QByteArray result;
    bool isQuoted = false;
    for (const char c : line) {
        if (c == '"')
            isQuoted = !isQuoted;
        if (isQuoted)
            result += c;
        else if (c != ' ')
            result += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

// Cuts the first command off the line into its name and the call's form and
// parameter.
QByteArray takeCommand(QByteArray *line, Call *call)
{
    QByteArray text = *line;
    const auto size = static_cast<int>(text.size());
    int i = 1;
    if (text.at(0) == '+') {
        while (i < size && std::isalnum(static_cast<unsigned char>(text.at(i))))
            ++i;
        bool isQuoted = false;
        int end = i;
        while (end < size && (isQuoted || text.at(end) != ';')) {
            if (text.at(end) == '"')
                isQuoted = !isQuoted;
            ++end;
        }
        const QByteArray suffix = text.mid(i, end - i);
        call->parameter.clear();
        if (suffix.isEmpty()) {
            call->form = Execute;
        } else if (suffix == "?") {
            call->form = Read;
        } else if (suffix == "=?") {
            call->form = Test;
        } else if (suffix.startsWith('=')) {
            call->form = Set;
            call->parameter = suffix.mid(1);
        } else {
            *line = QByteArray();
            return text; // no command's name
        }
        *line = text.mid(end + 1);
        return text.left(i);
    }
    if (text.at(0) == '&' && size > 1)
        ++i;
    QByteArray name = text.left(i);
    int end = i;
    if (name == "D") {
        end = size;
    } else {
        while (end < size && std::isdigit(static_cast<unsigned char>(text.at(end))))
            ++end;
    }
    call->form = Basic;
    call->parameter = text.mid(i, end - i);
    *line = text.mid(end);
    return name;
}

} // namespace

CommandAnswer executeCommandLine(const QByteArray &line, const PhoneNetwork &network,
                                 bool echoDefault, ModemState *modem)
{
    Call call{*modem, network, echoDefault, Basic, {}, {}};
    ResultCode result = ResultCode::Ok;
    QByteArray rest = normalised(line).mid(2);
    while (result == ResultCode::Ok && !rest.isEmpty()) {
        const QByteArray name = takeCommand(&rest, &call);
        const Command *command = findCommand(name);
        if (command && (command->forms & call.form))
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
