#include "platform/linux/pppddialler.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/dialphone/messages.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/helper/requests.h"
#include "platform/linux/pppdresult.h"

#include <optional>

namespace platform::linuxsystem {

namespace {

constexpr int MostLines = 40;           // that a failure tells
constexpr int HelperEndPatience = 2000; // milliseconds beyond pppd's

/// The rest of a text that begins so; nothing when it does not.
std::optional<QString> textAfter(const char *beginning, const QString &text)
{
    const QString start = QString::fromLatin1(beginning);
    return text.startsWith(start) ? std::make_optional(text.mid(start.size())) : std::nullopt;
}

} // namespace

PppdDialler::PppdDialler(const QStringList &helper, const QString &number, TargetFinder findTarget)
    : m_helper(helper), m_number(number), m_findTarget(std::move(findTarget))
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(&m_process, &QProcess::readyRead, this, &PppdDialler::readMessages);
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &PppdDialler::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, &PppdDialler::onError);
}

PppdDialler::~PppdDialler()
{
    m_process.disconnect(this);
    if (!isRunning())
        return;
    stop();
    // The helper ends pppd, if need be by force, and then itself.
    m_process.waitForFinished(PppdEndPatience + HelperEndPatience);
}

bool PppdDialler::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

void PppdDialler::start()
{
    if (m_helper.isEmpty()) {
        emit failed({ErrorAccessDenied,
                     tr("Others than the administrator can change this copy of the program. "
                        "Install the package and use that.")});
        return;
    }
    const Target target = m_findTarget();
    if (target.code != Success) {
        emit failed(failureOf(target.code));
        return;
    }
    m_lastAnswer.clear();
    m_lines.clear();
    m_outcome = {};
    m_isReady = false;
    m_isStopped = false;
    emit progressed(tr("Opening the phone's port..."));
    m_process.start(m_helper.first(), m_helper.mid(1));
    m_dial = dialRequest(target.peer, target.device, m_number);
    m_process.write(toLine(m_signIn.isEmpty() ? m_dial : m_signIn));
}

void PppdDialler::setSignIn(const QString &name, const QString &password)
{
    m_signIn = signInRequest(name, password);
}

void PppdDialler::stop()
{
    if (!isRunning())
        return;
    m_isStopped = true;
    m_process.closeWriteChannel();
    // Nobody reads that while a password is asked for.
    if (!m_isReady)
        m_process.terminate();
}

void PppdDialler::readMessages()
{
    while (m_process.canReadLine())
        understand(fromLine(m_process.readLine()).value_or(QJsonObject()));
}

void PppdDialler::understand(const QJsonObject &reply)
{
    if (reply.value("ready").toBool()) {
        m_isReady = true;
    } else if (reply.contains("line")) {
        understandPppd(reply.value("line").toString().trimmed());
    } else if (!m_signIn.isEmpty() && reply.value("code").toInt(-1) == Success) {
        m_signIn = {}; // it is stored now
        m_process.write(toLine(m_dial));
    } else if (reply.contains("code")) {
        m_outcome = reply;
        // What could not be stored must not be dialled with.
        if (!m_signIn.isEmpty())
            m_process.closeWriteChannel();
    }
}

void PppdDialler::understandPppd(const QString &message)
{
    m_lines += message;
    if (m_lines.size() > MostLines)
        m_lines.removeFirst();
    if (const auto told = textAfter(dialphone::messagePrefix, message)) {
        if (const auto number = textAfter(dialphone::diallingMessage, *told))
            emit progressed(tr("Dialling %1...").arg(*number));
        else if (*told == dialphone::connectedMessage)
            emit progressed(tr("The network answered. Signing in..."));
        else if (const auto answer = textAfter(dialphone::failedMessage, *told))
            m_lastAnswer = *answer;
    } else if (message.startsWith("Connect: ")) {
        emit progressed(tr("Waiting for an address..."));
    }
}

DialFailure PppdDialler::failure(int exitStatus, QProcess::ExitStatus how) const
{
    const int code = m_outcome.value("code").toInt();
    if (code != 0)
        return failureOf(static_cast<DWORD>(code));
    if (m_outcome.contains("status")) {
        const int status = m_outcome.value("status").toInt();
        return isPortInUse(status) ? portInUseFailure(m_outcome.value("holder").toString())
                                   : pppdFailure(status, m_lastAnswer);
    }
    if (m_isStopped)
        return pppdFailure(StatusStopped, {});
    // Without a word more the helper has crashed, or never got its rights.
    return how == QProcess::CrashExit || m_isReady ? pppdFailure(1, {})
                                                   : failureOf(refusalOf(exitStatus));
}

void PppdDialler::onFinished(int exitStatus, QProcess::ExitStatus how)
{
    readMessages();
    if (m_outcome.value("code").toInt(-1) == 0 && m_outcome.value("status").toInt(-1) == 0) {
        emit connected();
    } else {
        DialFailure reason = failure(exitStatus, how);
        reason.details = m_lines.join('\n');
        emit failed(reason);
    }
}

void PppdDialler::onError(QProcess::ProcessError error)
{
    // Every other error ends in finished().
    if (error == QProcess::FailedToStart)
        emit failed(failureOf(ErrorAccessDenied));
}

} // namespace platform::linuxsystem
