#pragma once

#include <QByteArray>
#include <QStringList>

namespace virtualphone {

/// The mobile network that the phone is registered in: it alone decides
/// whether an access point name leads anywhere.
class PhoneNetwork
{
public:
    /// Accepts "internet", "blweb" and "gpinternet".
    PhoneNetwork();

    /// Replaces the list of accepted names.
    void setAcceptedApns(const QStringList &apns) { m_acceptedApns = apns; }
    const QStringList &acceptedApns() const { return m_acceptedApns; }

    /// Letter case does not matter: a name is looked up like a host name.
    bool acceptsApn(const QByteArray &apn) const;

private:
    QStringList m_acceptedApns;
};

} // namespace virtualphone
