#include "virtualphone/modemstate.h"

namespace virtualphone {

ModemSettings::ModemSettings()
{
    registers.fill(-1);
    registers[0] = 0;  // rings before it answers by itself
    registers[3] = 13; // ends a command line
    registers[4] = 10; // formats answers
    registers[5] = 8;  // takes a character back
    registers[6] = 2;  // seconds before it dials blindly
    registers[7] = 60; // seconds until it gives a dial up
    registers[8] = 2;  // seconds that a comma in a number takes
    registers[10] = 1; // tenths of a second without carrier before it hangs up
}

void resetSettings(ModemState *modem)
{
    modem->settings = {};
    modem->settings.echo = modem->factoryEcho;
}

void endCall(ModemState *modem)
{
    if (modem->connected)
        modem->activeContexts.erase(modem->connectedContext);
    modem->connected = false;
    modem->dataState = false;
}

void leavePacketService(ModemState *modem)
{
    endCall(modem);
    modem->activeContexts.clear();
}

bool isCarrierOn(const ModemState &modem)
{
    return modem.connected || modem.settings.carrierDetect == 0;
}

} // namespace virtualphone
