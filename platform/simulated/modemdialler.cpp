#include "platform/simulated/modemdialler.h"

#include "platform/posix/serialdevice.h"
#include "platform/ras.h"
#include "platform/simulated/linehold.h"
#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"

#include <QDateTime>
#include <QFile>
#include <QMetaObject>

#include <algorithm>
#include <cerrno>
#include <unistd.h>

using namespace platform;
using atline::ResultCode;

namespace platform::simulated {

namespace {

constexpr int ResetTimeoutMs = 5000;   // a modem answers ATZ at once or never
constexpr int EscapeAnswerMs = 500;    // beyond the guard time
constexpr int CarrierTimeoutMs = 2000; // after CONNECT
constexpr int CarrierIntervalMs = 10;

/// What a RAS error number means, for people.
QString meaningOf(DWORD code)
{
    switch (code) {
    case RasErrorCannotOpenPhonebook:
        return "The system could not open the phone book file.";
    case RasErrorEntryNotFound:
        return "The system could not find the phone book entry for this connection.";
    case RasErrorUserDisconnected:
        return "Dialling was stopped.";
    case RasErrorPortNotAvailable:
        return "The modem is already in use or not connected.";
    case RasErrorNoAnswer:
        return "There was no answer.";
    case RasErrorLineBusy:
        return "The line is busy.";
    case RasErrorNoDialTone:
        return "There was no dial tone.";
    case RasErrorPortOrDevice:
        return "There was a hardware failure in the modem.";
    default:
        return "The connection could not be made.";
    }
}

} // namespace

ModemDialler::ModemDialler(const QString &directory, const QString &entry, const QString &number)
    : m_directory(directory), m_entry(entry), m_number(number)
{
    m_timeout.setSingleShot(true);
    connect(&m_timeout, &QTimer::timeout, this, &ModemDialler::onTimeout);
    m_carrierTimer.setInterval(CarrierIntervalMs);
    connect(&m_carrierTimer, &QTimer::timeout, this, &ModemDialler::checkCarrier);
}

ModemDialler::~ModemDialler()
{
    closeLine();
}

void ModemDialler::start()
{
    if (isRunning())
        return;
    m_step = Step::Resetting;
    emit progressed("Opening the port...");
    const DWORD code = openLine();
    if (code != Success) {
        finishLater(code);
        return;
    }
    emit progressed(QString("Preparing the modem on COM%1...").arg(m_port));
    if (!m_inDataState) {
        reset();
        return;
    }
    // A broken-off dial left the phone connected, where it takes no commands.
    m_step = Step::KeepingSilent;
    m_timeout.start(m_guardMs);
}

void ModemDialler::reset()
{
    m_step = Step::Resetting;
    m_timeout.start(std::min(m_answerTimeoutMs, ResetTimeoutMs));
    send("ATZ\r");
}

void ModemDialler::stop()
{
    // The phone that has connected already brings its carrier soon.
    if (!isRunning() || m_step == Step::WaitingForCarrier)
        return;
    if (m_step == Step::Dialling)
        send("\r"); // any character breaks a call attempt off
    closeLine();
    m_step = Step::Stopping;
    finishLater(RasErrorUserDisconnected);
}

DWORD ModemDialler::openLine()
{
    MachineSession session(m_directory);
    MachineState &state = session.state;
    if (state.phonebookDamaged)
        return RasErrorCannotOpenPhonebook;
    if (!state.phonebook.contains(m_entry))
        return RasErrorEntryNotFound;
    const QJsonObject entry = state.phonebook.value(m_entry);
    if (m_number.isEmpty())
        m_number = entry.value("szLocalPhoneNumber").toString();
    m_device = entry.value("szDeviceName").toString();
    m_answerTimeoutMs = state.answerTimeoutMs;
    m_guardMs = state.hangUpGuardMs;
    // The entry names its modem; the modem's driver key names the port.
    const RootDevice *device = state.findDeviceNamed(m_device);
    if (!device)
        return RasErrorPortNotAvailable;

    const QString attachedTo = device->driverKey.value("AttachedTo");
    const auto ports = presentPorts(&session);
    if (!ports)
        return RasErrorPortNotAvailable;
    const auto port = std::find_if(ports->begin(), ports->end(), [&](const PresentPort &each) {
        return QString("COM%1").arg(each.number) == attachedTo;
    });
    if (port == ports->end())
        return RasErrorPortNotAvailable;
    // A connection holds its port although no process has it open.
    dropDeadConnections(&session);
    for (const Connection &connection : state.connections) {
        if (connection.port == port->number)
            return RasErrorPortNotAvailable;
    }

    DWORD error = Success;
    m_line = openSerialDevice(QFile::encodeName(port->phone.tty).constData(), &error);
    if (m_line < 0)
        return RasErrorPortNotAvailable;
    m_port = port->number;
    m_plugId = port->phone.plugId;
    m_inDataState = port->phone.carrier;
    m_received.clear();
    m_notifier = std::make_unique<QSocketNotifier>(m_line, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &ModemDialler::readLine);
    return Success;
}

void ModemDialler::send(const QByteArray &command)
{
    // Commands are short: a line that does not take one is as good as gone,
    // and its silence then ends the dial.
    ssize_t written = 0;
    do {
        written = ::write(m_line, command.constData(), static_cast<size_t>(command.size()));
    } while (written < 0 && errno == EINTR);
}

void ModemDialler::readLine()
{
    char buffer[256];
    const ssize_t count = ::read(m_line, buffer, sizeof buffer);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count <= 0) {
        finish(RasErrorPortOrDevice); // hung up: the phone was unplugged
        return;
    }
    m_received.append(buffer, static_cast<int>(count));
    while (m_line >= 0) {
        const int end =
            m_received.indexOf('\r') < 0 ? m_received.indexOf('\n') : m_received.indexOf('\r');
        if (end < 0)
            return;
        const QByteArray answer = m_received.left(end).trimmed();
        m_received.remove(0, end + 1);
        judge(answer);
    }
}

void ModemDialler::judge(const QByteArray &answer)
{
    const ResultCode code = atline::resultCode(answer.toStdString());
    if (m_step == Step::Escaping && code == ResultCode::Ok) {
        m_step = Step::HangingUp;
        m_timeout.start(EscapeAnswerMs);
        send("ATH\r");
    } else if (m_step == Step::HangingUp &&
               (code == ResultCode::Ok || code == ResultCode::NoCarrier)) {
        reset();
    } else if (m_step == Step::Resetting && code == ResultCode::Error) {
        finish(RasErrorPortOrDevice);
    } else if (m_step == Step::Resetting && code == ResultCode::Ok) {
        m_step = Step::Dialling;
        emit progressed(QString("Dialling %1...").arg(m_number));
        m_timeout.start(m_answerTimeoutMs);
        send("ATD" + m_number.toLatin1() + "\r");
    } else if (m_step == Step::Dialling) {
        judgeDial(code);
    }
}

void ModemDialler::judgeDial(ResultCode code)
{
    switch (code) {
    case ResultCode::Connect:
        m_step = Step::WaitingForCarrier;
        emit progressed("Verifying the connection...");
        m_timeout.start(CarrierTimeoutMs);
        m_carrierTimer.start();
        checkCarrier();
        break;
    case ResultCode::NoCarrier:
    case ResultCode::NoAnswer:
        finish(RasErrorNoAnswer);
        break;
    case ResultCode::Busy:
        finish(RasErrorLineBusy);
        break;
    case ResultCode::NoDialtone:
        finish(RasErrorNoDialTone);
        break;
    case ResultCode::Error:
        finish(RasErrorPortOrDevice);
        break;
    case ResultCode::None:
    case ResultCode::Ok:
        break;
    }
}

void ModemDialler::onTimeout()
{
    if (m_step == Step::KeepingSilent) {
        m_step = Step::Escaping;
        m_timeout.start(m_guardMs + EscapeAnswerMs);
        send("+++");
        return;
    }
    if (m_step == Step::Escaping || m_step == Step::HangingUp) {
        reset();
        return;
    }
    finish(m_step == Step::Resetting ? RasErrorPortOrDevice : RasErrorNoAnswer);
}

void ModemDialler::checkCarrier()
{
    // The carrier-detect line comes by the bus, the word CONNECT by the line:
    // either may be first.
    const QList<PhoneOnBus> phones = phonesOnBus(m_directory);
    const auto phone = std::find_if(phones.begin(), phones.end(), [this](const PhoneOnBus &each) {
        return each.plugId == m_plugId && each.carrier;
    });
    if (phone == phones.end())
        return;
    bool saved = false;
    int handle = 0;
    {
        // Recorded only now, with the carrier seen: until then it would count as
        // dead to everyone who looks.
        MachineSession session(m_directory);
        Connection connection;
        handle = session.state.nextConnection++;
        connection.handle = handle;
        connection.entry = m_entry;
        connection.device = m_device;
        connection.plugId = m_plugId;
        connection.port = m_port;
        connection.since = static_cast<double>(QDateTime::currentMSecsSinceEpoch());
        session.state.connections += connection;
        saved = session.save();
    }
    const bool isHeld = saved && holdLine(m_directory, phone->tty, handle);
    if (isHeld)
        emit progressed("Connected.");
    finish(isHeld ? DWORD(Success) : RasErrorPortOrDevice);
}

void ModemDialler::finish(DWORD code)
{
    if (!isRunning())
        return; // stopped in between
    closeLine();
    m_step = Step::Idle;
    if (code == Success)
        emit connected();
    else
        emit failed({code, meaningOf(code)});
}

void ModemDialler::finishLater(DWORD code)
{
    QMetaObject::invokeMethod(
        this, [this, code] { finish(code); }, Qt::QueuedConnection);
}

void ModemDialler::closeLine()
{
    m_timeout.stop();
    m_carrierTimer.stop();
    if (m_notifier) {
        // It may be the one that is calling.
        m_notifier->setEnabled(false);
        m_notifier.release()->deleteLater();
    }
    if (m_line >= 0)
        closeSerialDevice(m_line);
    m_line = -1;
}

} // namespace platform::simulated
