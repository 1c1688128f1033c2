#include "virtualphone/phonenetwork.h"

namespace virtualphone {

bool readRegistration(const QString &text, Registration *registration)
{
    if (text == "none")
        *registration = Registration::NotSearching;
    else if (text == "home")
        *registration = Registration::Home;
    else if (text == "searching")
        *registration = Registration::Searching;
    else if (text == "denied")
        *registration = Registration::Denied;
    else if (text == "roaming")
        *registration = Registration::Roaming;
    else
        return false;
    return true;
}

PhoneNetwork::PhoneNetwork() : m_acceptedApns{"internet", "blweb", "gpinternet"} {}

bool PhoneNetwork::acceptsApn(const QByteArray &apn) const
{
    return m_acceptedApns.contains(QString::fromLatin1(apn), Qt::CaseInsensitive);
}

// The numbers are those of test networks.
NetworkName PhoneNetwork::name() const
{
    return {"Virtual Network", "Virtual", "00101"};
}

NetworkName PhoneNetwork::forbiddenName() const
{
    return {"Other Network", "Other", "00102"};
}

QByteArray PhoneNetwork::addressOf(int context) const
{
    return "10.0.0." + QByteArray::number(1 + context);
}

} // namespace virtualphone
