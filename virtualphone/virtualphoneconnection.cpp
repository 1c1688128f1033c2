#include "virtualphone/virtualphone.h"

// What the network, the card and the PC's readiness do to the phone's connection.
namespace virtualphone {

namespace {
// How often a connected phone looks whether the PC is still ready.
const int readinessIntervalMs = 50;
} // namespace

void VirtualPhone::useNetworkProgram(const QStringList &command)
{
    m_networkProgram = std::make_unique<NetworkProgram>(command);
    NetworkProgram *program = m_networkProgram.get();
    connect(this, &VirtualPhone::dataReceived, program, &NetworkProgram::write);
    connect(program, &NetworkProgram::received, this, [this](const QByteArray &bytes) {
        if (m_modem.dataState && !m_misbehaviour.silent)
            m_writer.enqueue(bytes);
    });
    connect(program, &NetworkProgram::ended, this, [this](const QString &reason) {
        m_transcript.remark("the network's program: " + reason);
        dropConnection();
    });
}

void VirtualPhone::setAcceptedApns(const QStringList &apns)
{
    m_network.setAcceptedApns(apns);
    m_transcript.remark(QString("the network accepts %1").arg(apns.join(',')));
}

void VirtualPhone::setRegistration(Registration registration)
{
    m_network.setRegistration(registration);
    m_transcript.remark(
        QString("the network says registration %1").arg(static_cast<int>(registration)));
    endConnectionWithoutNetwork();
    reportRegistration();
}

void VirtualPhone::insertCard(SimCard::State card)
{
    m_modem.card.insert(card);
    m_transcript.remark("another card is put in");
    endConnectionWithoutNetwork();
    reportRegistration();
}

void VirtualPhone::reportRegistration()
{
    const RegistrationState now = registrationState(m_modem, m_network);
    const QList<QByteArray> codes =
        registrationReports(m_reportedRegistration, now, m_modem.settings);
    m_reportedRegistration = now;
    // Data is not interrupted, and nobody hears what a closed port says.
    if (m_modem.dataState || m_misbehaviour.silent || !m_terminal.isInUse())
        return;
    for (const QByteArray &code : codes)
        m_writer.enqueue(formatUnsolicited(code, m_modem.settings));
}

void VirtualPhone::endConnectionWithoutNetwork()
{
    if (registrationState(m_modem, m_network).isAttached())
        return;
    m_modem.activeContexts.clear();
    dropConnection();
}

bool VirtualPhone::dropConnection()
{
    if (!m_modem.connected)
        return false;
    m_transcript.remark("the network drops the connection");
    endConnection();
    process();
    return true;
}

void VirtualPhone::endConnection()
{
    endCall(&m_modem);
    m_escapeTimer.stop();
    publish();
    if (!m_misbehaviour.silent && m_terminal.isInUse())
        m_writer.enqueue(formatResult(ResultCode::NoCarrier, m_modem.settings));
}

void VirtualPhone::watchReadiness()
{
    const bool isReady = m_terminal.isTerminalReady();
    if (m_isReady && !isReady)
        loseReadiness();
    m_isReady = isReady;
}

// What the end of circuit 108 does to a connection is AT&D's to say (V.250, 6.2.9).
void VirtualPhone::loseReadiness()
{
    const int mode = m_modem.settings.dataTerminalReady;
    if (!m_modem.connected || mode == 0)
        return;
    if (mode == 2) {
        m_transcript.remark("hangs up, since the PC is no longer ready");
        endConnection();
    } else if (m_modem.dataState) {
        escapeToCommandState();
    }
}

void VirtualPhone::publish()
{
    if (m_modem.connected != m_publishedConnection) {
        m_publishedConnection = m_modem.connected;
        m_isReady = true;
        if (m_modem.connected)
            m_readinessTimer.start(readinessIntervalMs);
        else
            m_readinessTimer.stop();
        if (m_networkProgram && m_modem.connected)
            m_networkProgram->start();
        else if (m_networkProgram)
            m_networkProgram->stop();
    }
    const bool carrier = isCarrierOn(m_modem);
    if (carrier == m_publishedCarrier)
        return;
    m_publishedCarrier = carrier;
    m_transcript.remark(carrier ? "carrier on" : "carrier off");
    QString error;
    const PluggedPhone phone{m_options.product, ttyName(), m_plugId, carrier, 0};
    if (m_usbSocket && !m_usbSocket->publish(phone, &error))
        qWarning("virtual-phone: %s", qPrintable(error));
}

} // namespace virtualphone
