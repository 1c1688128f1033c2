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

/// What the user can do about the phone's own error numbers; no text for others.
QString textOfPhoneError(int number)
{
    switch (number) {
    case dialphone::CardMissing:
        return text("There is no card in the phone. Put one in, then press Redial.");
    case dialphone::CardNeedsPin:
        return text("The card in the phone is locked. Enter its PIN on the phone, then press "
                    "Redial.");
    case dialphone::CardNeedsPuk:
        return text("The card in the phone is locked after too many wrong PINs. Enter its PUK "
                    "on the phone; the operator tells it.");
    case dialphone::CardFailure:
    case dialphone::CardWrong:
        return text("The phone cannot use its card. Take it out and put it in again, or try "
                    "another one.");
    case dialphone::NoNetwork:
        return text("The phone has no network. Wait until it shows its operator, then press "
                    "Redial.");
    default:
        return {};
    }
}

} // namespace

DialFailure modemFailure(const QString &answer)
{
    const int number = dialphone::errorNumber(answer.toStdString());
    const QString told = textOfPhoneError(number);
    if (!told.isEmpty())
        return {static_cast<DWORD>(number), told};
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

DialFailure portInUseFailure(const QString &program)
{
    if (program.isEmpty())
        return {RasErrorPortNotAvailable,
                text("The phone's port could not be opened: another program may be using it.")};
    return {
        RasErrorPortNotAvailable,
        text("The program \"%1\" is using the phone. Close it, then press Redial.").arg(program)};
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
    case StatusPortNotLocked:
    case StatusPortNotOpened:
        return portInUseFailure({});
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
        return {RasErrorAuthentication,
                text("The network did not accept the sign-in. Type the name and the password that "
                     "your operator tells you, then press Redial.")};
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
        return {code,
                text("You have no such connection on this computer, or no more. Press "
                     "Set Up to make it anew."),
                {},
                true};
    case RasErrorPortNotAvailable:
        return {code,
                text("The modem of this connection is not installed. Press Set Up to install "
                     "it."),
                {},
                true};
    case RasErrorPortOrDevice:
        return {code, text("The phone is not plugged in.")};
    case ErrorInvalidParameter:
        return {code, text("The number cannot be dialled.")};
    default:
        return {code, text("The connection could not be made.")};
    }
}

} // namespace platform::linuxsystem
