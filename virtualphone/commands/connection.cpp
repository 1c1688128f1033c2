#include "virtualphone/commands/tables.h"

namespace virtualphone {

namespace {

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

Result dial(Call &call)
{
    ModemState &modem = call.modem;
    if (modem.connected)
        return ResultCode::Error;
    const PhoneError error = cardError(modem);
    if (error != PhoneError::None)
        return error;
    const int id = dialledContext(call.command.parameter);
    // Circuit-switched calls are not offered by this network.
    if (id == 0)
        return ResultCode::NoCarrier;
    const auto context = modem.contexts.find(id);
    if (context == modem.contexts.end())
        return ResultCode::Error;
    if (!call.registration().isRegistered())
        return ResultCode::NoCarrier;
    modem.attached = true;
    if (!call.network.acceptsApn(context->second.apn))
        return ResultCode::NoCarrier;
    modem.activeContexts.insert(id);
    modem.connected = true;
    modem.connectedContext = id;
    modem.dataState = true;
    return ResultCode::Connect;
}

// Nobody calls this phone.
Result answerCall(Call &)
{
    return ResultCode::NoCarrier;
}

Result hangUp(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    endCall(&call.modem);
    return ResultCode::Ok;
}

Result backToData(Call &call)
{
    if (basicValue(call) != 0)
        return ResultCode::Error;
    if (!call.modem.connected)
        return ResultCode::NoCarrier;
    call.modem.dataState = true;
    return ResultCode::Connect;
}

// A GPRS phone dials neither with tones nor with pulses, but takes the word.
Result dialMode(Call &call)
{
    return call.command.parameter.isEmpty() ? ResultCode::Ok : ResultCode::Error;
}

// There is no loudspeaker on the line.
Result speaker(Call &call)
{
    int unused = 0;
    return setBasic(call, &unused, 3);
}

// Data is the only class of service.
Result serviceClass(Call &call)
{
    if (call.command.form == ReadForm)
        call.texts += "0";
    else if (call.command.form == TestForm)
        call.texts += "0";
    else if (call.command.parameter != "0")
        return ResultCode::Error;
    return ResultCode::Ok;
}

} // namespace

QList<Command> callCommands()
{
    return {
        // D[T|P]*99#, D*99***1#        -> CONNECT, NO CARRIER (refused by the network) or
        //                                 ERROR (context not defined, already connected, no
        //                                 card) (V.250 6.3.1, 27.007 10.2.1.1)
        {"D", BasicForm, dial},
        // T | P                        -> OK (V.250 6.3.2, 6.3.3)
        {"T", BasicForm, dialMode},
        {"P", BasicForm, dialMode},
        // A                            -> NO CARRIER (V.250 6.3.5)
        {"A", BasicForm, answerCall},
        // H | H0                       -> OK; the connection is ended (V.250 6.3.6)
        {"H", BasicForm, hangUp},
        // O | O0                       -> CONNECT, or NO CARRIER when there is no connection
        //                                 (V.250 6.3.7)
        {"O", BasicForm, backToData},
        // L0 ... L3, M0 ... M3         -> OK (V.250 6.3.13, 6.3.14)
        {"L", BasicForm, speaker},
        {"M", BasicForm, speaker},
        // +FCLASS=0                    -> OK (27.007 annex C.2.1)
        // +FCLASS? | +FCLASS=?         -> 0, OK
        {"+FCLASS", SetForm | ReadForm | TestForm, serviceClass},
    };
}

} // namespace virtualphone
