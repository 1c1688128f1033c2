#pragma once

#include <QByteArray>
#include <QStringList>

namespace virtualphone {

/// What the network lets the phone do; the numbers are <stat> of AT+CREG
/// (27.007, 7.2).
enum class Registration { NotSearching = 0, Home = 1, Searching = 2, Denied = 3, Roaming = 5 };

/// The texts that readRegistration() takes.
inline constexpr char registrationStates[] = "home|roaming|searching|denied|none";

/// Reads one of them. False for any other text.
bool readRegistration(const QString &text, Registration *registration);

/// A mobile network as AT+COPS names it.
struct NetworkName {
    QByteArray longName;  ///< 16 characters at most
    QByteArray shortName; ///< 8 characters at most
    QByteArray number;    ///< country and network code
};

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

    /// How it receives a phone that has a card and looks for a network.
    void setRegistration(Registration registration) { m_registration = registration; }
    Registration registration() const { return m_registration; }

    /// The time that a phone needs to find all networks, in milliseconds.
    void setScanTime(int milliseconds) { m_scanTimeMs = milliseconds; }
    int scanTimeMs() const { return m_scanTimeMs; }

    /// This network, and the other one in reach, which refuses the card.
    NetworkName name() const;
    NetworkName forbiddenName() const;

    /// The address that it gives to a context when the context names none.
    QByteArray addressOf(int context) const;

private:
    QStringList m_acceptedApns;
    Registration m_registration = Registration::Home;
    int m_scanTimeMs = 8000;
};

} // namespace virtualphone
