#include "virtualphone/result.h"

#include "virtualphone/modemstate.h"

namespace virtualphone {

namespace {

const int fastestRate = 115200;

const char *words(PhoneError error)
{
    switch (error) {
    case PhoneError::NotAllowed:
        return "operation not allowed";
    case PhoneError::CardMissing:
    case PhoneError::MessageCardMissing:
        return "SIM not inserted";
    case PhoneError::PinRequired:
    case PhoneError::MessagePinRequired:
        return "SIM PIN required";
    case PhoneError::PukRequired:
    case PhoneError::MessagePukRequired:
        return "SIM PUK required";
    case PhoneError::CardFailure:
        return "SIM failure";
    case PhoneError::IncorrectPassword:
        return "incorrect password";
    case PhoneError::NoNetworkService:
        return "no network service";
    case PhoneError::NetworkNotAllowed:
        return "network not allowed - emergency calls only";
    case PhoneError::NotSubscribed:
        return "requested service option not subscribed";
    case PhoneError::None:
        break;
    }
    return "unknown";
}

QByteArray resultWord(const Result &result, const ModemSettings &settings)
{
    switch (result.code) {
    case ResultCode::Ok:
        return "OK";
    case ResultCode::Connect:
        // X0 is the only form without the rate (V.250, 6.2.7).
        if (settings.connectForm == 0)
            return "CONNECT";
        return "CONNECT " + QByteArray::number(settings.rate == 0 ? fastestRate : settings.rate);
    case ResultCode::NoCarrier:
        return "NO CARRIER";
    case ResultCode::Error:
        break;
    }
    return "ERROR";
}

} // namespace

QByteArray formatText(const QByteArray &text, const ModemSettings &settings)
{
    const QByteArray lineEnd = QByteArray(1, settings.carriageReturn()) + settings.lineFeed();
    QByteArray framed = text;
    framed.replace("\r\n", lineEnd);
    return settings.verbose ? lineEnd + framed + lineEnd : framed + lineEnd;
}

QByteArray formatResult(const Result &result, const ModemSettings &settings)
{
    if (settings.quiet)
        return {};
    QByteArray text;
    if (result.error != PhoneError::None && settings.errorForm != 0) {
        // These are words even when the others are digits (27.007, annex B).
        const int number = static_cast<int>(result.error);
        text = (number < 300 ? "+CME ERROR: " : "+CMS ERROR: ") +
               (settings.errorForm == 1 ? QByteArray::number(number)
                                        : QByteArray(words(result.error)));
    } else if (settings.verbose) {
        text = resultWord(result, settings);
    } else {
        text = QByteArray::number(static_cast<int>(result.code));
    }
    return settings.verbose ? formatText(text, settings) : text + settings.carriageReturn();
}

QByteArray formatUnsolicited(const QByteArray &code, const ModemSettings &settings)
{
    return settings.quiet ? QByteArray() : formatText(code, settings);
}

} // namespace virtualphone
