#pragma once

#include "virtualphone/simcard.h"

#include <QByteArray>

#include <array>
#include <map>
#include <set>

namespace virtualphone {

/// A packet-data context as AT+CGDCONT defines it.
struct PacketDataContext {
    QByteArray type; ///< "IP"
    QByteArray apn;
    QByteArray address; ///< empty: the network gives one
};

/// What the PC can set on its line to the modem. ATZ, AT&F and a new plug-in
/// bring the values here back.
struct ModemSettings {
    ModemSettings();

    bool echo = true;
    bool verbose = true;       ///< result codes as words; else as digits
    bool quiet = false;        ///< no result codes at all
    int connectForm = 0;       ///< ATX; 0: CONNECT without the rate
    int carrierDetect = 1;     ///< AT&C; 0: the line is always on
    int dataTerminalReady = 2; ///< AT&D: what the end of the PC's readiness does
    int rate = 0;              ///< AT+IPR, bits a second; 0: the modem finds it out
    int flowOfPc = 2;          ///< AT+IFC; 2: by RTS and CTS
    int flowOfModem = 2;
    int errorForm = 0;                 ///< AT+CMEE; 0: ERROR, 1: with a number, 2: with words
    int registrationReports = 0;       ///< AT+CREG; 1: unsolicited, 2: with the cell
    int packetRegistrationReports = 0; ///< AT+CGREG, likewise
    int operatorForm = 0;              ///< AT+COPS=3; 0: long name, 1: short name, 2: number
    int messageForm = 0;               ///< AT+CMGF; 0: as bytes, 1: as text
    QByteArray characterSet = "GSM";   ///< AT+CSCS

    static constexpr int RegisterCount = 11;
    std::array<int, RegisterCount> registers; ///< ATSn; -1: there is none

    char carriageReturn() const { return static_cast<char>(registers[3]); }
    char lineFeed() const { return static_cast<char>(registers[4]); }
    char backspace() const { return static_cast<char>(registers[5]); }
};

/// How the phone chose its network; the numbers are those of AT+COPS.
enum class OperatorChoice { Automatic = 0, Manual = 1, Left = 2 };

/// Everything that commands can change in the modem.
struct ModemState {
    ModemSettings settings;
    bool factoryEcho = true; ///< what ATZ and AT&F go back to

    SimCard card;
    int functionality = 1; ///< AT+CFUN; 1: full, 0 and 4: the radio is off
    OperatorChoice operatorChoice = OperatorChoice::Automatic;
    bool attached = true; ///< to the packet service, as soon as there is a network
    std::map<int, PacketDataContext> contexts;
    std::set<int> activeContexts;
    bool connected = false;                    ///< the data connection is up
    int connectedContext = 0;                  ///< while connected
    bool dataState = false;                    ///< bytes are data, not commands; implies connected
    qint64 clockOffset = 0;                    ///< AT+CCLK, seconds from the computer's clock
    int clockZone = 0;                         ///< AT+CCLK, quarters of an hour from UTC
    QByteArray messageCentre = "+10005550101"; ///< AT+CSCA
    int messageCentreType = 145;               ///< international
};

inline constexpr int LastContext = 3;        ///< contexts are numbered 1 to this
inline constexpr int MaximumApnLength = 100; ///< bytes

/// The modem's settings as they come from the factory.
void resetSettings(ModemState *modem);

/// Ends the data connection, and its context; nothing when there is none.
void endCall(ModemState *modem);

/// Ends the connection and every context, as leaving the packet service does.
void leavePacketService(ModemState *modem);

/// Whether circuit 109, carrier detect, is on.
bool isCarrierOn(const ModemState &modem);

} // namespace virtualphone
