#pragma once

#include "platform/standin/dialler.h"

#include <QProcess>

#include <functional>

namespace platform::linuxsystem {

/// Runs pppd for an entry of the phone book until the link has an address (pppd
/// then goes on by itself) or cannot come up. GUI thread.
class PppdDialler final : public Dialler
{
    Q_OBJECT

public:
    /// What a dial needs. `code` is Success, or the reason why it cannot begin.
    struct Target {
        DWORD code = 0;
        QString peer;
        QString device;
    };
    /// It is asked for at each dial: a phone may have been plugged in since the
    /// last one.
    using TargetFinder = std::function<Target()>;

    PppdDialler(const QString &pppd, const QString &number, TargetFinder findTarget);
    ~PppdDialler() override;

    void start() override;
    void stop() override;
    bool isRunning() const override;

private:
    void readMessages();
    void onFinished(int exitStatus, QProcess::ExitStatus how);
    void onError(QProcess::ProcessError error);
    void understand(const QString &message);

    const QString m_pppd;
    const QString m_number;
    const TargetFinder m_findTarget;
    QProcess m_process;
    QString m_lastAnswer;
};

} // namespace platform::linuxsystem
