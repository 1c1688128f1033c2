#include "virtualphone/networkprogram.h"

#include <QProcess>

namespace virtualphone {

namespace {
const int patienceMs = 8000; // pppd says goodbye to its peer for up to six seconds
} // namespace

NetworkProgram::NetworkProgram(const QStringList &command, QObject *parent)
    : QObject(parent), m_command(command)
{
}

NetworkProgram::~NetworkProgram()
{
    stop();
    for (QProcess *process : findChildren<QProcess *>()) {
        if (!process->waitForFinished(patienceMs))
            process->kill();
        process->waitForFinished(patienceMs);
    }
}

void NetworkProgram::start()
{
    stop();
    auto *process = new QProcess(this);
    m_process = process;
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    connect(process, &QProcess::readyReadStandardOutput, this, [this, process] {
        const QByteArray bytes = process->readAllStandardOutput();
        if (process == m_process)
            emit received(bytes);
    });
    const auto end = [this, process](const QString &reason) {
        process->deleteLater();
        if (process != m_process)
            return;
        m_process = nullptr;
        emit ended(reason);
    };
    connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [end](int status) { end(QString("it ended with status %1").arg(status)); });
    connect(process, &QProcess::errorOccurred, this, [end, process](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(process->errorString());
    });
    process->start(m_command.first(), m_command.mid(1));
}

void NetworkProgram::write(const QByteArray &bytes)
{
    if (m_process)
        m_process->write(bytes);
}

void NetworkProgram::stop()
{
    QProcess *process = m_process;
    m_process = nullptr;
    if (!process)
        return;
    // Until it runs, the new process still is a copy of this one, which a signal
    // would end, too.
    process->waitForStarted(patienceMs);
    process->closeWriteChannel();
    process->terminate();
}

} // namespace virtualphone
