#pragma once

#include "virtualphone/commandparser.h"
#include "virtualphone/modemstate.h"
#include "virtualphone/registration.h"
#include "virtualphone/result.h"

#include <QByteArray>
#include <QList>

#include <optional>

namespace virtualphone {

/// One command on its way through its handler.
struct Call {
    ModemState &modem;
    const PhoneNetwork &network;
    ParsedCommand command;
    QList<QByteArray> texts; ///< information texts of the line so far
    int delayMs;             ///< added to the time until the line is answered

    RegistrationState registration() const { return registrationState(modem, network); }

    /// Adds the answer "+NAME: value".
    void say(const QByteArray &value) { texts += command.name + ": " + value; }
};

/// The value of a basic command; one that is left out counts as 0. Nothing when
/// it is too large a number.
std::optional<int> basicValue(const Call &call);

/// Sets what a basic command sets, 0 to `maximum`.
Result setBasic(const Call &call, int *value, int maximum);
Result setBasic(const Call &call, bool *flag);

/// The set, read and test form of a command whose only parameter is a number.
Result numberParameter(Call &call, int *value, int maximum);

/// The numbers that a set form brings, none left out; nothing when it brings
/// anything else, or not `least` to `most` of them.
std::optional<QList<int>> numberParameters(const Call &call, int least, int most);

/// Why the card cannot be used; PhoneError::None when it can.
PhoneError cardError(const ModemState &modem);

} // namespace virtualphone
