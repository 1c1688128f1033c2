#include "virtualphone/virtualphone.h"

#include <QUuid>

#include <utility>

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
      m_socketNumber(options.socket),
      m_escape(options.guardTimeMs)
{
    if (!options.acceptedApns.isEmpty())
        m_network.setAcceptedApns(options.acceptedApns);
    if (!options.networkCommand.isEmpty())
        useNetworkProgram(options.networkCommand);
    m_clock.start();
    m_delayTimer.setSingleShot(true);
    m_delayTimer.setTimerType(Qt::PreciseTimer);
    m_escapeTimer.setSingleShot(true);
    m_escapeTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_delayTimer, &QTimer::timeout, this, [this] {
        execute();
        process();
    });
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
    m_modem.echo = m_misbehaviour.echo != EchoMode::Off;
    m_modem.verbose = true;
    m_modem.quiet = false;
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
    m_modem.connected = false;
    m_modem.dataState = false;
    if (m_networkProgram)
        m_networkProgram->stop();
    m_terminal.close();
    m_writer.clear();
    m_reader.reset();
    m_input.clear();
    m_pending.reset();
    m_joined.clear();
    m_gluedEcho.clear();
    m_delayTimer.stop();
    m_escapeTimer.stop();
    m_transcript.remark("unplugged");
}

bool VirtualPhone::dropConnection()
{
    if (!m_modem.connected)
        return false;
    m_transcript.remark("the network drops the connection");
    m_modem.connected = false;
    m_modem.dataState = false;
    m_escapeTimer.stop();
    publish();
    if (!m_misbehaviour.silent)
        m_writer.enqueue(formatResultCode(ResultCode::NoCarrier, m_modem));
    process();
    return true;
}

bool VirtualPhone::setMisbehaviour(const QString &name, const QString &value, QString *error)
{
    if (!m_misbehaviour.set(name, value, error))
        return false;
    if (name == "echo")
        m_modem.echo = m_misbehaviour.echo != EchoMode::Off;
    m_transcript.remark(QString("set %1 %2").arg(name, value));
    if (m_pending && !m_delayTimer.isActive())
        execute(); // its answer was due while the phone was silent
    process();
    return true;
}

void VirtualPhone::setAcceptedApns(const QStringList &apns)
{
    m_network.setAcceptedApns(apns);
    m_transcript.remark(QString("the network accepts %1").arg(apns.join(',')));
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
    m_joined.clear();
    m_gluedEcho.clear();
    process();
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
    while (isPlugged() && !m_input.isEmpty() && !m_pending && m_writer.isIdle() &&
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
    answer({}, formatResultCode(ResultCode::Ok, m_modem));
}

void VirtualPhone::processCommandBytes()
{
    const CommandLineReader::Taken taken = m_reader.take(&m_input);
    const QByteArray line = taken.isComplete ? taken.line : m_reader.partialLine();
    if (hasCommandPrefix(line, m_misbehaviour.unplugPrefix)) {
        m_misbehaviour.unplugPrefix.clear();
        unplug();
        return;
    }
    const bool isGlued = m_misbehaviour.echo == EchoMode::Glued;
    if (m_modem.echo && isGlued)
        m_gluedEcho += taken.bytes;
    else if (m_modem.echo)
        m_writer.enqueueEcho(taken.bytes);
    if (!taken.isComplete)
        return;
    if (taken.line.isEmpty()) {
        if (!m_input.contains('\r')) // no later answer takes this along
            m_writer.enqueue(std::exchange(m_joined, {}) + std::exchange(m_gluedEcho, {}));
        return;
    }
    m_pending = PendingLine{taken.line, taken.isTooLong};
    m_delayTimer.start(m_misbehaviour.delayMs);
}

void VirtualPhone::execute()
{
    if (!m_pending || m_misbehaviour.silent)
        return;
    const PendingLine pending = *m_pending;
    m_pending.reset();
    CommandAnswer said;
    if (pending.isTooLong || m_misbehaviour.errorPrefix == "*" ||
        hasCommandPrefix(pending.line, m_misbehaviour.errorPrefix))
        said.result = ResultCode::Error;
    else
        said = executeCommandLine(pending.line, m_network, m_misbehaviour.echo != EchoMode::Off,
                                  &m_modem);
    // Carrier detect goes up before CONNECT is said.
    publish();
    if (m_modem.dataState) {
        m_escape.start(m_clock.elapsed());
        m_reader.reset();
    }
    QList<QByteArray> texts;
    for (const QByteArray &text : said.informationTexts)
        texts += formatInformationText(text, m_modem);
    answer(texts, formatResultCode(said.result, m_modem));
}

void VirtualPhone::answer(const QList<QByteArray> &texts, const QByteArray &result)
{
    QList<QByteArray> chunks = texts;
    if (!result.isEmpty())
        chunks += result;
    const QByteArray front = m_joined + m_gluedEcho;
    m_joined.clear();
    m_gluedEcho.clear();
    if (chunks.isEmpty()) { // a quiet modem
        m_writer.enqueue(front);
        return;
    }
    chunks.first().prepend(front + m_misbehaviour.glue);
    if (m_misbehaviour.join) {
        chunks = {chunks.join()};
        if (!m_modem.dataState && m_input.contains('\r')) {
            m_joined = chunks.first(); // the next command's answer goes with it
            return;
        }
    }
    m_writer.enqueue(m_misbehaviour.noise);
    const QByteArray last = chunks.takeLast();
    for (const QByteArray &chunk : std::as_const(chunks))
        m_writer.enqueue(chunk);
    const int split = m_misbehaviour.splitAfter;
    m_writer.enqueue(split > 0 ? last.left(split) : last);
    if (split > 0)
        m_writer.enqueue(last.mid(split));
}

void VirtualPhone::publish()
{
    if (m_modem.connected == m_publishedCarrier)
        return;
    m_publishedCarrier = m_modem.connected;
    m_transcript.remark(m_modem.connected ? "carrier on" : "carrier off");
    if (m_networkProgram && m_modem.connected)
        m_networkProgram->start();
    else if (m_networkProgram)
        m_networkProgram->stop();
    QString error;
    const PluggedPhone phone{m_options.product, ttyName(), m_plugId, m_modem.connected, 0};
    if (m_usbSocket && !m_usbSocket->publish(phone, &error))
        qWarning("virtual-phone: %s", qPrintable(error));
}

} // namespace virtualphone
