#pragma once

#include "virtualphone/modemstate.h"
#include "virtualphone/result.h"

#include <QByteArray>
#include <QList>

namespace virtualphone {

class PhoneNetwork;

/// What the modem has to say to one command line.
struct CommandAnswer {
    QList<QByteArray> informationTexts; ///< unframed, one for each text
    Result result;
    int delayMs = 0; ///< how long the phone needs to find that out
};

/// Executes one command line (without its end) from its first "AT" on. A line
/// may hold several commands, "ATE0V1" or "AT+CSQ;+CREG?"; the first that
/// fails ends it.
CommandAnswer executeCommandLine(const QByteArray &line, const PhoneNetwork &network,
                                 ModemState *modem);

} // namespace virtualphone
