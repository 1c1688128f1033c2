#pragma once

#include "platform/standin/dialler.h"

#include <QJsonObject>
#include <QProcess>
#include <QStringList>

#include <functional>

namespace platform::linuxsystem {

/// Has the helper run pppd for an entry of the phone book until the link has an
/// address (pppd then goes on by itself) or cannot come up. GUI thread.
class PppdDialler final : public Dialler
{
    Q_OBJECT

public:
    /// What a dial needs: the entry's file name and the line found for it. `code` is Success, or
    /// the reason why it cannot begin.
    struct Target {
        DWORD code = 0;
        QString peer;
        QString device;
    };
    /// It is asked for at each dial: a phone may have been plugged in since the
    /// last one.
    using TargetFinder = std::function<Target()>;

    /// The command starts a helper that may dial: helper/client.h. Without one each
    /// dial fails with 5.
    PppdDialler(const QStringList &helper, const QString &number, TargetFinder findTarget);
    ~PppdDialler() override;

    void start() override;
    void stop() override;
    bool isRunning() const override;
    bool takesSignIn() const override { return true; }
    void setSignIn(const QString &name, const QString &password) override;

private:
    void readMessages();
    void onFinished(int exitStatus, QProcess::ExitStatus how);
    void onError(QProcess::ProcessError error);
    void understand(const QJsonObject &reply);
    void understandPppd(const QString &message);
    DialFailure failure(int exitStatus, QProcess::ExitStatus how) const;

    const QStringList m_helper;
    const QString m_number;
    const TargetFinder m_findTarget;
    QProcess m_process;
    QJsonObject m_signIn;   // the request that stores it; empty without one
    QJsonObject m_dial;     // the request that follows
    bool m_isReady = false; // the helper has its rights
    bool m_isStopped = false;
    QJsonObject m_outcome; // the helper's last line
    QString m_lastAnswer;
    QStringList m_lines; ///< the last that pppd and the phone said
};

} // namespace platform::linuxsystem
