#pragma once

#include <QByteArray>
#include <QList>

#include <map>

namespace virtualphone {

class PhoneNetwork;

/// A packet-data context as AT+CGDCONT defines it.
struct PacketDataContext {
    QByteArray type; ///< "IP"
    QByteArray apn;
    QByteArray address; ///< empty: the network gives one
};

/// Everything that commands can change in the modem.
struct ModemState {
    // Settings of the command line; ATZ, AT&F and a new plug-in reset them.
    bool echo = true;
    bool verbose = true; ///< result codes as words; else as digits
    bool quiet = false;  ///< no result codes at all

    bool attached = true; ///< to the packet service
    std::map<int, PacketDataContext> contexts;
    bool connected = false; ///< the data connection is up
    bool dataState = false; ///< bytes are data, not commands; implies connected
};

inline constexpr int LastContext = 3;        ///< contexts are numbered 1 to this
inline constexpr int MaximumApnLength = 100; ///< bytes

/// A final result code; the numbers are those that ATV0 shows.
enum class ResultCode { Ok = 0, Connect = 1, NoCarrier = 3, Error = 4 };

/// What the modem has to say to one command line.
struct CommandAnswer {
    QList<QByteArray> informationTexts; ///< unframed, one for each text
    ResultCode result = ResultCode::Ok;
};

/// Executes one command line (without its end) from its first "AT" on. A line
/// may hold several commands, "ATE0V1" or "AT+CSQ;+CREG?"; the first that
/// fails ends it with Error. `echoDefault` is what ATZ and AT&F go back to.
CommandAnswer executeCommandLine(const QByteArray &line, const PhoneNetwork &network,
                                 bool echoDefault, ModemState *modem);

/// An information text as it goes over the line.
QByteArray formatInformationText(const QByteArray &text, const ModemState &modem);

/// A result code as it goes over the line; empty when the modem is quiet.
QByteArray formatResultCode(ResultCode result, const ModemState &modem);

} // namespace virtualphone
