#pragma once

#include <QByteArray>

namespace virtualphone {

struct ModemSettings;

/// A final result code; the numbers are those that ATV0 shows (V.250, 5.7.1).
enum class ResultCode { Ok = 0, Connect = 1, NoCarrier = 3, Error = 4 };

/// What keeps the phone from carrying out a command that it knows: <err> of
/// +CME ERROR (27.007, 9.2), and from 300 on of +CMS ERROR (27.005, 3.2.5).
enum class PhoneError {
    None = -1,
    NotAllowed = 3,
    CardMissing = 10,
    PinRequired = 11,
    PukRequired = 12,
    CardFailure = 13,
    IncorrectPassword = 16,
    NoNetworkService = 30,
    NetworkNotAllowed = 32,
    NotSubscribed = 133, ///< the network knows no such access point
    MessageCardMissing = 310,
    MessagePinRequired = 311,
    MessagePukRequired = 316,
};

/// How a command line ends.
struct Result {
    ResultCode code = ResultCode::Ok;
    PhoneError error = PhoneError::None; ///< why the code is Error, when the phone can say so

    // A handler returns either.
    Result(ResultCode resultCode = ResultCode::Ok) : code(resultCode) {}
    Result(PhoneError phoneError) : code(ResultCode::Error), error(phoneError) {}
};

/// An information text, or an unsolicited one, as it goes over the line.
QByteArray formatText(const QByteArray &text, const ModemSettings &settings);

/// A final result as it goes over the line; empty when the modem is quiet.
QByteArray formatResult(const Result &result, const ModemSettings &settings);

/// An unsolicited result code as it goes over the line, for example "+CREG: 1";
/// empty when the modem is quiet.
QByteArray formatUnsolicited(const QByteArray &code, const ModemSettings &settings);

} // namespace virtualphone
