#pragma once

#include "virtualphone/modemstate.h"
#include "virtualphone/phonenetwork.h"

#include <QByteArray>
#include <QList>

namespace virtualphone {

/// Where the phone stands in its network.
struct RegistrationState {
    Registration voice = Registration::NotSearching;  ///< AT+CREG
    Registration packet = Registration::NotSearching; ///< AT+CGREG

    bool isRegistered() const
    {
        return voice == Registration::Home || voice == Registration::Roaming;
    }
    /// Whether contexts can be used.
    bool isAttached() const
    {
        return packet == Registration::Home || packet == Registration::Roaming;
    }
};

/// Follows from the card, the radio, the chosen operator and the network.
RegistrationState registrationState(const ModemState &modem, const PhoneNetwork &network);

/// "+CREG: 0,1" or "+CGREG: 2,1,\"0001\",\"0001\"": the answer to the read form.
/// `reports` is what the PC asked for, 0 to 2.
QByteArray registrationText(const QByteArray &command, int reports, Registration registration);

/// The unsolicited codes that a change brings, as far as the PC asked for them
/// (27.007, 7.2 and 10.1.20); unframed.
QList<QByteArray> registrationReports(const RegistrationState &before,
                                      const RegistrationState &after,
                                      const ModemSettings &settings);

} // namespace virtualphone
