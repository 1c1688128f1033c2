#pragma once

#include "platform/atline/resultcode.h"
#include "platform/standin/dialler.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>

#include <memory>

namespace platform::simulated {

/// Dials a phone-book entry as the remote access service does it: through the
/// COM port of the entry's modem, by what the phone answers. A connection that
/// is up is in the state. Never blocks; the outcome comes from the event loop.
class ModemDialler final : public Dialler
{
    Q_OBJECT

public:
    /// An empty number means the entry's own.
    ModemDialler(const QString &directory, const QString &entry, const QString &number);
    ~ModemDialler() override;

    void start() override;
    void stop() override;
    bool isRunning() const override { return m_step != Step::Idle; }

private:
    enum class Step {
        Idle,
        KeepingSilent, ///< before the escape sequence
        Escaping,
        HangingUp,
        Resetting,
        Dialling,
        WaitingForCarrier,
        Stopping
    };

    DWORD openLine();
    void reset();
    void readLine();
    void judge(const QByteArray &answer);
    void judgeDial(atline::ResultCode code);
    void onTimeout();
    void checkCarrier();
    void send(const QByteArray &command);
    void finish(DWORD code);
    void finishLater(DWORD code);
    void closeLine();

    const QString m_directory;
    const QString m_entry;
    QString m_number;
    Step m_step = Step::Idle;
    QString m_device;
    QString m_plugId;
    int m_port = 0;
    bool m_inDataState = false;
    int m_answerTimeoutMs = 0;
    int m_guardMs = 0;
    int m_line = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QByteArray m_received;
    QTimer m_timeout;
    QTimer m_carrierTimer;
};

} // namespace platform::simulated
