#include "virtualphone/phonenetwork.h"

namespace virtualphone {

PhoneNetwork::PhoneNetwork() : m_acceptedApns{"internet", "blweb", "gpinternet"} {}

bool PhoneNetwork::acceptsApn(const QByteArray &apn) const
{
    return m_acceptedApns.contains(QString::fromLatin1(apn), Qt::CaseInsensitive);
}

} // namespace virtualphone
