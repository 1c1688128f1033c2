#include "platform/linux/pppddialler.h"

#include "platform/linux/activelinks.h"
#include "platform/linux/dialphone/messages.h"
#include "platform/linux/pppdresult.h"

#include <QFileInfo>
#include <QTimer>

#include <optional>

namespace platform::linuxsystem {

namespace {

/// The rest of a text that begins so; nothing when it does not.
std::optional<QString> textAfter(const char *beginning, const QString &text)
{
    const QString start = QString::fromLatin1(beginning);
    return text.startsWith(start) ? std::make_optional(text.mid(start.size())) : std::nullopt;
}

} // namespace

PppdDialler::PppdDialler(const QString &pppd, const QString &number, TargetFinder findTarget)
    : m_pppd(pppd), m_number(number), m_findTarget(std::move(findTarget))
{
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    // If standard input were a terminal, pppd would use it as its line.
    m_process.setStandardInputFile(QProcess::nullDevice());
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
    m_process.terminate();
    if (!m_process.waitForFinished(PppdEndPatience))
        m_process.kill();
}

bool PppdDialler::isRunning() const
{
    return m_process.state() != QProcess::NotRunning;
}

void PppdDialler::start()
{
    const Target target = m_findTarget();
    if (target.code != Success) {
        emit failed(failureOf(target.code));
        return;
    }
    m_lastAnswer.clear();
    emit progressed(tr("Opening the phone's port..."));
    // poff looks for the arguments in this order.
    m_process.start(m_pppd, {"call", target.peer, target.device, "set", "DIAL_NUMBER=" + m_number,
                             "logfd", "1", "updetach"});
}

void PppdDialler::stop()
{
    if (!isRunning())
        return;
    m_process.terminate();
    QTimer::singleShot(PppdEndPatience, &m_process, &QProcess::kill);
}

void PppdDialler::readMessages()
{
    while (m_process.canReadLine())
        understand(QString::fromLocal8Bit(m_process.readLine()).trimmed());
}

void PppdDialler::understand(const QString &message)
{
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

void PppdDialler::onFinished(int exitStatus, QProcess::ExitStatus how)
{
    readMessages();
    if (how == QProcess::NormalExit && exitStatus == 0)
        emit connected();
    else
        emit failed(pppdFailure(how == QProcess::NormalExit ? exitStatus : 1, m_lastAnswer));
}

void PppdDialler::onError(QProcess::ProcessError error)
{
    // Every other error ends in finished().
    if (error == QProcess::FailedToStart)
        emit failed(QFileInfo::exists(m_pppd) ? pppdFailure(StatusNotPermitted, {})
                                              : failureOf(ErrorServiceMissing));
}

} // namespace platform::linuxsystem
