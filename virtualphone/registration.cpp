#include "virtualphone/registration.h"

namespace virtualphone {

namespace {

// The area and the cell that the phone is in.
QByteArray place(int reports, Registration registration)
{
    const bool isSomewhere =
        registration == Registration::Home || registration == Registration::Roaming;
    return reports == 2 && isSomewhere ? ",\"0001\",\"0001\"" : "";
}

QByteArray number(Registration registration)
{
    return QByteArray::number(static_cast<int>(registration));
}

} // namespace

RegistrationState registrationState(const ModemState &modem, const PhoneNetwork &network)
{
    RegistrationState state;
    const bool looksForNetwork = modem.functionality == 1 &&
                                 modem.card.state() == SimCard::State::Ready &&
                                 modem.operatorChoice != OperatorChoice::Left;
    if (!looksForNetwork)
        return state;
    state.voice = network.registration();
    if (modem.attached)
        state.packet = network.registration();
    return state;
}

QByteArray registrationText(const QByteArray &command, int reports, Registration registration)
{
    return command + ": " + QByteArray::number(reports) + ',' + number(registration) +
           place(reports, registration);
}

QList<QByteArray> registrationReports(const RegistrationState &before,
                                      const RegistrationState &after, const ModemSettings &settings)
{
    QList<QByteArray> codes;
    if (before.voice != after.voice && settings.registrationReports > 0)
        codes += "+CREG: " + number(after.voice) + place(settings.registrationReports, after.voice);
    if (before.packet != after.packet && settings.packetRegistrationReports > 0)
        codes += "+CGREG: " + number(after.packet) +
                 place(settings.packetRegistrationReports, after.packet);
    return codes;
}

} // namespace virtualphone
