#include "virtualphone/virtualphone.h"

#include <QUuid>

namespace virtualphone {

namespace {
// With more than this waiting the line is not read: a PC that never stops sending
// then has to wait.
const int maximumInput = 65536;
} // namespace

VirtualPhone::VirtualPhone(const PhoneOptions &options, QObject *parent)
    : QObject(parent),
      m_options(options),
      m_misbehaviour(options.misbehaviour),
      m_writer(&m_terminal),
      m_answers(&m_writer, &m_misbehaviour),
      m_socketNumber(options.socket),
      m_escape(options.guardTimeMs)
{
    if (!options.acceptedApns.isEmpty())
        m_network.setAcceptedApns(options.acceptedApns);
    m_network.setRegistration(options.registration);
    m_network.setScanTime(options.scanTimeMs);
    m_modem.card.insert(options.card);
    if (!options.networkCommand.isEmpty())
        useNetworkProgram(options.networkCommand);
    m_clock.start();
    m_delayTimer.setSingleShot(true);
    m_delayTimer.setTimerType(Qt::PreciseTimer);
    m_escapeTimer.setSingleShot(true);
    m_escapeTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_delayTimer, &QTimer::timeout, this, [this] {
        executeOrAnswer();
        process();
    });
    connect(&m_readinessTimer, &QTimer::timeout, this, &VirtualPhone::watchReadiness);
    connect(&m_escapeTimer, &QTimer::timeout, this, &VirtualPhone::process);
    connect(&m_terminal, &Pseudoterminal::received, this, &VirtualPhone::onReceived);
    connect(&m_terminal, &Pseudoterminal::inUseChanged, this, &VirtualPhone::onInUseChanged);
    connect(&m_writer, &ChunkWriter::idle, this, &VirtualPhone::process);
    connect(&m_writer, &ChunkWriter::written, this, [this](const QByteArray &bytes) {
        m_sent += bytes.size();
        m_transcript.toPc(bytes);
    });
    connect(&m_writer, &ChunkWriter::dropped, this, [this](const QByteArray &bytes) {
        m_transcript.remark(QString("did not send %1 bytes").arg(bytes.size()));
    });
}

VirtualPhone::~VirtualPhone()
{
    unplug();
}

bool VirtualPhone::openTranscript(QString *error)
{
    return m_options.transcriptFile.isEmpty() || m_transcript.open(m_options.transcriptFile, error);
}

bool VirtualPhone::plug(int socket, QString *error)
{
    if (isPlugged()) {
        *error = QString("already plugged into socket %1").arg(m_socketNumber);
        return false;
    }
    std::unique_ptr<UsbSocket> usbSocket;
    if (!m_options.busDirectory.isEmpty()) {
        usbSocket = std::make_unique<UsbSocket>(m_options.busDirectory, socket);
        if (!usbSocket->claim(error))
            return false;
    }
    if (!m_terminal.open(error))
        return false;
    m_plugId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const PluggedPhone phone{m_options.product, ttyName(), m_plugId, false, 0};
    if (usbSocket && !usbSocket->publish(phone, error)) {
        m_terminal.close();
        return false;
    }
    m_usbSocket = std::move(usbSocket);
    m_publishedCarrier = false;
    m_socketNumber = socket;
    m_modem.factoryEcho = m_misbehaviour.echo != EchoMode::Off;
    resetSettings(&m_modem);
    m_reportedRegistration = registrationState(m_modem, m_network);
    m_received = 0;
    m_sent = 0;
    m_dataReceived = 0;
    m_transcript.remark(QString("plugged into socket %1 as %2").arg(socket).arg(ttyName()));
    return true;
}

void VirtualPhone::unplug()
{
    if (!isPlugged())
        return;
    // The PC that sees the port hang up must not find the phone on the bus.
    m_usbSocket.reset();
    endCall(&m_modem);
    publish();
    m_terminal.close();
    m_writer.clear();
    m_reader.reset();
    m_input.clear();
    m_pending.reset();
    m_due.reset();
    m_answers.clear();
    m_delayTimer.stop();
    m_escapeTimer.stop();
    m_transcript.remark("unplugged");
}

bool VirtualPhone::setMisbehaviour(const QString &name, const QString &value, QString *error)
{
    if (!m_misbehaviour.set(name, value, error))
        return false;
    if (name == "echo") {
        m_modem.factoryEcho = m_misbehaviour.echo != EchoMode::Off;
        m_modem.settings.echo = m_modem.factoryEcho;
    }
    m_transcript.remark(QString("set %1 %2").arg(name, value));
    if (!m_delayTimer.isActive())
        executeOrAnswer(); // its answer was due while the phone was silent
    process();
    return true;
}

QString VirtualPhone::status() const
{
    const QString apns = " apns=" + m_network.acceptedApns().join(',');
    if (!isPlugged())
        return "unplugged" + apns;
    return QString("plugged socket=%1 tty=%2 port=%3 state=%4 carrier=%5")
               .arg(QString::number(m_socketNumber), ttyName(),
                    m_terminal.isInUse() ? "open" : "closed",
                    m_modem.dataState ? "data" : "command", m_modem.connected ? "yes" : "no") +
           QString(" received=%1 sent=%2 data=%3").arg(m_received).arg(m_sent).arg(m_dataReceived) +
           apns;
}

void VirtualPhone::onReceived(const QByteArray &bytes)
{
    m_received += bytes.size();
    m_transcript.fromPc(bytes);
    m_input += bytes;
    process();
}

void VirtualPhone::onInUseChanged()
{
    m_transcript.remark(m_terminal.isInUse() ? "the PC opens the port" : "the PC closes the port");
    if (m_terminal.isInUse())
        return;
    // Nobody reads this now, and whoever opens the port next must not find it.
    m_writer.clear();
    m_answers.clear();
    process();
    loseReadiness();
    m_writer.clear();
}

void VirtualPhone::process()
{
    if (m_isProcessing)
        return;
    m_isProcessing = true;
    if (m_modem.dataState)
        processData();
    // Commands that are sent ahead wait until the one before has been answered,
    // so that none is lost and no answer gets mixed with the next echo.
    while (isPlugged() && !m_input.isEmpty() && !m_pending && !m_due && m_writer.isIdle() &&
           !m_misbehaviour.silent) {
        if (m_modem.dataState)
            processData();
        else
            processCommandBytes();
    }
    m_isProcessing = false;
    if (isPlugged())
        m_terminal.setReceiving(m_input.size() < maximumInput);
}

void VirtualPhone::processData()
{
    if (m_misbehaviour.silent)
        return;
    const qint64 now = m_clock.elapsed();
    if (m_escape.isArmed() && m_escape.remainingMs(now) == 0) {
        escapeToCommandState();
        return;
    }
    if (!m_writer.isIdle())
        return;
    if (!m_input.isEmpty()) {
        const QByteArray bytes = m_input;
        m_input.clear();
        m_dataReceived += bytes.size();
        m_escape.feed(bytes, now);
        emit dataReceived(bytes);
    }
    if (m_escape.isArmed())
        m_escapeTimer.start(m_escape.remainingMs(now));
    else
        m_escapeTimer.stop();
}

void VirtualPhone::escapeToCommandState()
{
    m_escape.start(m_clock.elapsed());
    m_escapeTimer.stop();
    m_modem.dataState = false;
    answer({}, formatResult(ResultCode::Ok, m_modem.settings));
}

void VirtualPhone::processCommandBytes()
{
    const CommandLineReader::Taken taken =
        m_reader.take(&m_input, {m_modem.settings.carriageReturn(), m_modem.settings.backspace()});
    const QByteArray line = taken.isComplete ? taken.line : m_reader.partialLine();
    if (hasCommandPrefix(line, m_misbehaviour.unplugPrefix)) {
        m_misbehaviour.unplugPrefix.clear();
        unplug();
        return;
    }
    if (m_modem.settings.echo)
        m_answers.echo(taken.bytes);
    if (!taken.isComplete)
        return;
    if (taken.line.isEmpty()) {
        m_answers.endEmptyLine(m_input.contains('\r'));
        return;
    }
    m_pending = PendingLine{taken.line, taken.isTooLong};
    m_delayTimer.start(m_misbehaviour.delayMs);
}

void VirtualPhone::executeOrAnswer()
{
    if (m_misbehaviour.silent)
        return;
    if (m_pending)
        execute();
    else if (m_due)
        answerLine();
}

void VirtualPhone::execute()
{
    const PendingLine pending = *m_pending;
    m_pending.reset();
    m_due = CommandAnswer();
    if (pending.isTooLong || m_misbehaviour.errorPrefix == "*" ||
        hasCommandPrefix(pending.line, m_misbehaviour.errorPrefix))
        m_due->result = ResultCode::Error;
    else
        *m_due = executeCommandLine(pending.line, m_network, &m_modem);
    if (m_due->delayMs > 0)
        m_delayTimer.start(m_due->delayMs);
    else
        answerLine();
}

void VirtualPhone::answerLine()
{
    const CommandAnswer said = *m_due;
    m_due.reset();
    // Carrier detect goes up before CONNECT is said.
    publish();
    if (m_modem.dataState) {
        m_escape.start(m_clock.elapsed());
        m_reader.reset();
    }
    QList<QByteArray> texts;
    for (const QByteArray &text : said.informationTexts)
        texts += formatText(text, m_modem.settings);
    answer(texts, formatResult(said.result, m_modem.settings));
    reportRegistration();
    if (!m_terminal.isInUse())
        loseReadiness(); // it was closed while the phone dialled
}

void VirtualPhone::answer(const QList<QByteArray> &texts, const QByteArray &result)
{
    m_answers.answer(texts, result, !m_modem.dataState && m_input.contains('\r'));
}

} // namespace virtualphone
