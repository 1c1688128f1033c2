#pragma once

#include "platform/atline/resultcode.h"
#include "platform/types.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QTimer>

#include <memory>

namespace platform::simulated {

/// What a RAS error number means, for people; without the number.
QString dialErrorText(DWORD code);

/// One dial of a phone-book entry, as the remote access service does it:
/// through the COM port of the entry's modem, by what the phone answers.
/// Lives in a thread with an event loop and never blocks it.
class Dialler : public QObject
{
    Q_OBJECT

public:
    /// An empty number means the entry's own.
    Dialler(const QString &directory, const QString &entry, const QString &number,
            QObject *parent = nullptr);
    ~Dialler() override;

    /// Begins; finished() follows, always from the event loop.
    void start();

    /// Breaks the dial off; finished() does not follow. False when the phone
    /// has connected already: finished() follows soon.
    bool cancel();

    bool isBusy() const { return m_step != Step::Idle; }

signals:
    /// What is being done, in words.
    void progressed(const QString &text);

    /// 0: the connection is up and in the state. Else a RAS error number.
    void finished(platform::DWORD code);

private:
    enum class Step {
        Idle,
        KeepingSilent, ///< before the escape sequence
        Escaping,
        HangingUp,
        Resetting,
        Dialling,
        WaitingForCarrier
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
