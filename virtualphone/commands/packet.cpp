#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

Result packetRegistration(Call &call)
{
    if (call.command.form != ReadForm)
        return numberParameter(call, &call.modem.settings.packetRegistrationReports, 2);
    call.texts += registrationText("+CGREG", call.modem.settings.packetRegistrationReports,
                                   call.registration().packet);
    return ResultCode::Ok;
}

Result attachment(Call &call)
{
    ModemState &modem = call.modem;
    if (call.command.form == ReadForm) {
        call.say(call.registration().isAttached() ? "1" : "0");
    } else if (call.command.form == TestForm) {
        call.say("(0,1)");
    } else if (call.command.parameter == "0") {
        // Contexts live in the packet service: leaving it ends the connection.
        leavePacketService(&modem);
        modem.attached = false;
    } else if (call.command.parameter == "1") {
        if (!call.registration().isRegistered())
            return PhoneError::NoNetworkService;
        modem.attached = true;
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

Result setContext(Call &call)
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

/// Adds a line for each context; nothing when there are none.
void sayLines(Call &call, const QList<QByteArray> &lines)
{
    if (!lines.isEmpty())
        call.texts += lines.join("\r\n");
}

Result contextDefinition(Call &call)
{
    if (call.command.form == SetForm)
        return setContext(call);
    if (call.command.form == TestForm) {
        call.say("(1-" + QByteArray::number(LastContext) + "),\"IP\",,,(0),(0)");
        return ResultCode::Ok;
    }
    QList<QByteArray> lines;
    for (const auto &[id, context] : call.modem.contexts)
        lines += "+CGDCONT: " + QByteArray::number(id) + ",\"" + context.type + "\",\"" +
                 context.apn + "\",\"" + context.address + "\",0,0";
    sayLines(call, lines);
    return ResultCode::Ok;
}

/// Activates or deactivates one context.
Result setActive(Call &call, int id, bool isActive)
{
    ModemState &modem = call.modem;
    if (!isActive) {
        if (modem.connected && modem.connectedContext == id)
            endCall(&modem);
        modem.activeContexts.erase(id);
        return ResultCode::Ok;
    }
    if (!call.registration().isRegistered())
        return PhoneError::NoNetworkService;
    if (!call.network.acceptsApn(modem.contexts.at(id).apn))
        return PhoneError::NotSubscribed;
    modem.attached = true;
    modem.activeContexts.insert(id);
    return ResultCode::Ok;
}

Result contextActivation(Call &call)
{
    ModemState &modem = call.modem;
    if (call.command.form == TestForm) {
        call.say("(0,1)");
        return ResultCode::Ok;
    }
    if (call.command.form == ReadForm) {
        QList<QByteArray> lines;
        for (const auto &[id, context] : modem.contexts)
            lines += "+CGACT: " + QByteArray::number(id) + ',' +
                     (modem.activeContexts.count(id) ? '1' : '0');
        sayLines(call, lines);
        return ResultCode::Ok;
    }
    const std::optional<QList<int>> wanted = numberParameters(call, 1, 1 + LastContext);
    if (!wanted || wanted->first() > 1)
        return ResultCode::Error;
    QList<int> ids = wanted->mid(1);
    if (ids.isEmpty()) { // all of them
        for (const auto &[id, context] : modem.contexts)
            ids += id;
    }
    for (const int id : ids) {
        if (!modem.contexts.count(id))
            return ResultCode::Error;
    }
    for (const int id : ids) {
        const Result result = setActive(call, id, wanted->first() == 1);
        if (result.code != ResultCode::Ok)
            return result;
    }
    return ResultCode::Ok;
}

Result contextAddress(Call &call)
{
    ModemState &modem = call.modem;
    QList<int> ids;
    if (call.command.form == SetForm) {
        const std::optional<QList<int>> wanted = numberParameters(call, 1, LastContext);
        if (!wanted)
            return ResultCode::Error;
        ids = *wanted;
    } else {
        for (const auto &[id, context] : modem.contexts)
            ids += id;
    }
    if (call.command.form == TestForm) {
        QByteArray list;
        for (const int id : ids)
            list += (list.isEmpty() ? "" : ",") + QByteArray::number(id);
        call.say('(' + list + ')');
        return ResultCode::Ok;
    }
    QList<QByteArray> lines;
    for (const int id : ids) {
        const auto context = modem.contexts.find(id);
        if (context == modem.contexts.end())
            return ResultCode::Error;
        QByteArray address = context->second.address;
        if (address.isEmpty() && modem.activeContexts.count(id))
            address = call.network.addressOf(id);
        lines += "+CGPADDR: " + QByteArray::number(id) + ",\"" + address + '"';
    }
    sayLines(call, lines);
    return ResultCode::Ok;
}

} // namespace

QList<Command> packetCommands()
{
    return {
        // +CGREG=2                     -> OK; +CGREG: 1,"0001","0001" follows each change
        //                                 (27.007 10.1.20)
        // +CGREG?                      -> +CGREG: 0,1, OK
        // +CGREG=?                     -> +CGREG: (0-2), OK
        {"+CGREG", SetForm | ReadForm | TestForm, packetRegistration},
        // +CGATT=0 | +CGATT=1          -> OK (27.007 10.1.9)
        // +CGATT?                      -> +CGATT: 1, OK
        // +CGATT=?                     -> +CGATT: (0,1), OK
        {"+CGATT", SetForm | ReadForm | TestForm, attachment},
        // +CGDCONT=1,"IP","internet"[,"address"[,0[,0]]] -> OK, or ERROR when malformed
        //                                 (27.007 10.1.1)
        // +CGDCONT=1                   -> OK; the context is no longer defined
        // +CGDCONT?                    -> +CGDCONT: 1,"IP","internet","",0,0 for each, OK
        // +CGDCONT=?                   -> +CGDCONT: (1-3),"IP",,,(0),(0), OK
        {"+CGDCONT", SetForm | ReadForm | TestForm, contextDefinition},
        // +CGACT=1,1                   -> OK, or +CME ERROR: 133 for a refused name
        //                                 (27.007 10.1.10)
        // +CGACT?                      -> +CGACT: 1,0 for each, OK
        // +CGACT=?                     -> +CGACT: (0,1), OK
        {"+CGACT", SetForm | ReadForm | TestForm, contextActivation},
        // +CGPADDR[=1]                 -> +CGPADDR: 1,"10.0.0.2" for each, OK (27.007 10.1.14)
        // +CGPADDR=?                   -> +CGPADDR: (1), OK
        {"+CGPADDR", SetForm | ExecuteForm | TestForm, contextAddress},
    };
}

} // namespace virtualphone
