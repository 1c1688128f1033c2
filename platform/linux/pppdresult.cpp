#include "platform/linux/pppdresult.h"

#include "platform/atline/resultcode.h"
#include "platform/linux/dialphone/phoneline.h"
#include "platform/linux/helper/protocol.h"
#include "platform/ras.h"

#include <QObject>

namespace platform::linuxsystem {

namespace {

QString text(const char *sentence)
{
    return QObject::tr(sentence);
}

} // namespace

DialFailure modemFailure(const QString &answer)
{
    switch (atline::resultCode(answer.toStdString())) {
    case atline::ResultCode::NoCarrier:
        return {RasErrorNoCarrier,
                text("The network did not accept the connection. Check that the operator is the "
                     "one of the card in the phone, and that the phone has reception.")};
    case atline::ResultCode::Busy:
        return {RasErrorLineBusy, text("The line is busy.")};
    case atline::ResultCode::NoAnswer:
        return {RasErrorNoAnswer, text("There was no answer.")};
    case atline::ResultCode::NoDialtone:
        return {RasErrorNoDialTone, text("The phone has no dial tone: it may have no reception.")};
    default:
        break;
    }
    if (answer == dialphone::PhoneNotReady)
        return {RasErrorDeviceNotReady, text("The phone does not answer. Unplug it, plug it in "
                                             "again and try once more.")};
    if (answer == dialphone::NetworkTimedOut)
        return {RasErrorRequestTimeout, text("The network did not answer in time.")};
    if (answer == dialphone::LineHungUp)
        return {RasErrorPortOrDevice, text("The phone was unplugged.")};
    return {RasErrorFromDevice,
            text("The phone refused to dial. The operator's access point may be "
                 "wrong, or the phone may not be allowed to use the network.")};
}

DialFailure pppdFailure(int exitStatus, const QString &lastAnswer)
{
    switch (exitStatus) {
    case 2:
        return {RasErrorCorruptPhonebook, text("The dial-up entry is damaged.")};
    case StatusNotPermitted:
        return failureOf(ErrorAccessDenied);
    case 4:
        return {ErrorServiceMissing,
                text("This computer's system kernel cannot make dial-up connections.")};
    case StatusStopped:
        return {RasErrorUserDisconnected, text("Dialling was stopped.")};
    case 6:
    case 7:
        return {RasErrorPortNotAvailable,
                text("The phone's port could not be opened: another program may be using it.")};
    case 8:
        return modemFailure(lastAnswer);
    case 10:
        return {RasErrorNoProtocols, text("The network gave no address.")};
    case 15:
        return {RasErrorPppTimeout, text("The network stopped answering.")};
    case 16:
    case 17: // the phone is back at its command line, which repeats what it hears
        return {RasErrorPortDisconnected, text("The phone ended the connection.")};
    case 19:
        return {RasErrorAuthentication, text("The network did not accept the sign-in.")};
    default:
        return {RasErrorUnknown, text("The connection could not be made. The system's log "
                                      "tells more.")};
    }
}

DialFailure failureOf(DWORD code)
{
    switch (code) {
    case ErrorAccessDenied:
        return {code, text("You may not make dial-up connections on this computer, or the "
                           "package \"pkexec\" is missing. Ask an administrator.")};
    case ErrorCancelled:
        return {code, text("The password was not given.")};
    case ErrorServiceMissing:
        return {code, text("The program \"pppd\" is missing. An administrator can install the "
                           "package \"ppp\".")};
    case RasErrorCannotOpenPhonebook:
        return {code, text("The phone book is damaged or missing.")};
    case RasErrorEntryNotFound:
        return {code, text("You have no such connection on this computer, or no more. Press "
                           "Cancel and choose Create New Connection.")};
    case RasErrorPortNotAvailable:
        return {code, text("The modem of this connection is not installed. Press Cancel and "
                           "choose Create New Connection.")};
    case RasErrorPortOrDevice:
        return {code, text("The phone is not plugged in.")};
    case ErrorInvalidParameter:
        return {code, text("The number cannot be dialled.")};
    default:
        return {code, text("The connection could not be made.")};
    }
}

} // namespace platform::linuxsystem
