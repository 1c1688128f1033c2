#pragma once

#include "platform/linux/pppdresult.h"

#include <QObject>
#include <QProcess>

namespace platform::linuxsystem {

/// One dial: runs pppd for an entry of the phone book until the link has an
/// address (pppd then goes on by itself) or cannot come up. GUI thread.
class Dialler : public QObject
{
    Q_OBJECT

public:
    explicit Dialler(const QString &pppd, QObject *parent = nullptr);
    ~Dialler() override;

    /// Dials. One dial at a time; the outcome comes as a signal, also when
    /// pppd cannot be started at all.
    void start(const QString &peer, const QString &device, const QString &number);

    /// Gives up. failed() follows when pppd has released the line.
    void stop();

    bool isRunning() const;

signals:
    /// What happens now, as a text for the user.
    void progressed(const QString &text);
    /// The link is up and has an address.
    void connected();
    void failed(const platform::linuxsystem::DialFailure &failure);

private:
    void readMessages();
    void onFinished(int exitStatus, QProcess::ExitStatus how);
    void onError(QProcess::ProcessError error);
    void understand(const QString &message);

    QString m_pppd;
    QProcess m_process;
    QString m_lastAnswer;
};

} // namespace platform::linuxsystem
