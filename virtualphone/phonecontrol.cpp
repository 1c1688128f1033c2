#include "virtualphone/phonecontrol.h"

#include "virtualphone/virtualphone.h"

namespace virtualphone {

PhoneControl::PhoneControl(VirtualPhone *phone, QObject *parent) : QObject(parent), m_phone(phone)
{
}

struct PhoneControl::Command {
    QString name;
    QString arguments; ///< as users see them; empty: it takes none
    QString (PhoneControl::*run)(const QString &arguments);
};

const QList<PhoneControl::Command> &PhoneControl::commands()
{
    static const QList<Command> all = {
        {"plug", "[SOCKET]", &PhoneControl::plug},
        {"unplug", "", &PhoneControl::unplug},
        {"status", "", &PhoneControl::status},
        {"drop", "", &PhoneControl::drop},
        {"set", "NAME VALUE", &PhoneControl::set},
        {"accept-apn", "LIST", &PhoneControl::acceptApns},
        {"registration", registrationStates, &PhoneControl::registration},
        {"card", cardStates, &PhoneControl::card},
        {"quit", "", &PhoneControl::quit},
    };
    return all;
}

QString PhoneControl::execute(const QString &command)
{
    const QString line = command.trimmed();
    const QString name = line.section(' ', 0, 0);
    const QString arguments = line.section(' ', 1).trimmed();
    QStringList names;
    for (const Command &each : commands()) {
        names += each.name;
        if (each.name != name)
            continue;
        if (each.arguments.isEmpty() && !arguments.isEmpty())
            return QString("error: %1 takes no arguments").arg(name);
        return (this->*each.run)(arguments);
    }
    return QString("error: unknown command \"%1\"; there are: %2").arg(name, names.join(", "));
}

QString PhoneControl::plug(const QString &socket)
{
    int number = m_phone->socket();
    if (!socket.isEmpty() && !readSocketNumber(socket, &number))
        return QString("error: \"%1\" is not a socket; sockets are numbered 1 to 99").arg(socket);
    QString error;
    if (!m_phone->plug(number, &error))
        return "error: " + error;
    return QString("ok plugged into socket %1 as %2").arg(number).arg(m_phone->ttyName());
}

QString PhoneControl::unplug(const QString &)
{
    if (!m_phone->isPlugged())
        return "error: not plugged in";
    m_phone->unplug();
    return "ok unplugged";
}

QString PhoneControl::status(const QString &)
{
    return "ok " + m_phone->status();
}

QString PhoneControl::drop(const QString &)
{
    return m_phone->dropConnection() ? "ok connection dropped" : "error: there is no connection";
}

QString PhoneControl::set(const QString &setting)
{
    QString error;
    if (!m_phone->setMisbehaviour(setting.section(' ', 0, 0), setting.section(' ', 1), &error))
        return "error: " + error;
    return "ok " + setting;
}

QString PhoneControl::acceptApns(const QString &apns)
{
    const QStringList names = QString(apns).replace(' ', ',').split(',', Qt::SkipEmptyParts);
    if (names.isEmpty())
        return "error: accept-apn needs at least one name";
    m_phone->setAcceptedApns(names);
    return "ok accepted: " + names.join(',');
}

QString PhoneControl::registration(const QString &state)
{
    Registration registration = Registration::Home;
    if (!readRegistration(state, &registration))
        return QString("error: registration takes %1").arg(registrationStates);
    m_phone->setRegistration(registration);
    return "ok registration " + state;
}

QString PhoneControl::card(const QString &state)
{
    SimCard::State card = SimCard::State::Ready;
    if (!readCardState(state, &card))
        return QString("error: card takes %1").arg(cardStates);
    m_phone->insertCard(card);
    return "ok card " + state;
}

QString PhoneControl::quit(const QString &)
{
    emit quitRequested();
    return "ok";
}

QStringList PhoneControl::commandHelp()
{
    QStringList all;
    for (const Command &command : commands())
        all += QString("%1 %2").arg(command.name, command.arguments).trimmed();
    return all;
}

bool readSocketNumber(const QString &text, int *number)
{
    bool isNumber = false;
    const uint read = text.toUInt(&isNumber);
    if (!isNumber || read < 1 || read > 99)
        return false;
    *number = static_cast<int>(read);
    return true;
}

} // namespace virtualphone
