#include "virtualphone/phonecontrol.h"

#include "virtualphone/virtualphone.h"

namespace virtualphone {

PhoneControl::PhoneControl(VirtualPhone *phone, QObject *parent) : QObject(parent), m_phone(phone)
{
}

QString PhoneControl::execute(const QString &command)
{
    const QString line = command.trimmed();
    const QString name = line.section(' ', 0, 0);
    const QString rest = line.section(' ', 1).trimmed();
    if (name == "plug")
        return plug(rest);
    if (name == "set")
        return set(rest);
    if (name == "accept-apn")
        return acceptApns(rest);
    if (!rest.isEmpty() &&
        (name == "unplug" || name == "status" || name == "drop" || name == "quit"))
        return QString("error: %1 takes nothing more").arg(name);
    if (name == "unplug") {
        if (!m_phone->isPlugged())
            return "error: not plugged in";
        m_phone->unplug();
        return "ok unplugged";
    }
    if (name == "status")
        return "ok " + m_phone->status();
    if (name == "drop")
        return m_phone->dropConnection() ? "ok connection dropped"
                                         : "error: there is no connection";
    if (name == "quit") {
        emit quitRequested();
        return "ok";
    }
    return QString("error: unknown command \"%1\"; there are: plug, unplug, status, drop, set, "
                   "accept-apn, quit")
        .arg(name);
}

QString PhoneControl::plug(const QString &socket)
{
    int number = m_phone->socket();
    if (!socket.isEmpty() && !readSocketNumber(socket, &number))
        return QString("error: \"%1\" is no socket; they are numbered 1 to 99").arg(socket);
    QString error;
    if (!m_phone->plug(number, &error))
        return "error: " + error;
    return QString("ok plugged into socket %1 as %2").arg(number).arg(m_phone->ttyName());
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
        return "error: accept-apn takes one name or more";
    m_phone->setAcceptedApns(names);
    return "ok accepted: " + names.join(',');
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
