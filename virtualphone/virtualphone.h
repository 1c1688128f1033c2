#pragma once

#include "virtualphone/answerwriter.h"
#include "virtualphone/atcommands.h"
#include "virtualphone/chunkwriter.h"
#include "virtualphone/commandlinereader.h"
#include "virtualphone/escapedetector.h"
#include "virtualphone/misbehaviour.h"
#include "virtualphone/networkprogram.h"
#include "virtualphone/phonenetwork.h"
#include "virtualphone/pseudoterminal.h"
#include "virtualphone/registration.h"
#include "virtualphone/transcript.h"
#include "virtualphone/usbsocket.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <memory>
#include <optional>

namespace virtualphone {

/// What a phone is and where it is plugged in.
struct PhoneOptions {
    QString busDirectory; ///< empty: on no bus, only the pseudo-terminal is made
    int socket = 1;       ///< the USB socket of the first plug-in, 1 or more
    QString product = "USB Modem Driver";
    QStringList acceptedApns;   ///< empty: the network's own list
    QString transcriptFile;     ///< empty: none
    QStringList networkCommand; ///< the program behind data connections; empty: bytes are counted
    int guardTimeMs = 1000;     ///< pause around +++
    int scanTimeMs = 8000;      ///< what AT+COPS=? takes
    SimCard::State card = SimCard::State::Ready;
    Registration registration = Registration::Home;
    Misbehaviour misbehaviour;
};

/// A GPRS phone's modem on a pseudo-terminal: the AT command line in command
/// state, a counted flow of bytes in data state, between a PC that opens the
/// port and a network that accepts some access points.
///
/// Lives in one thread with an event loop; see VirtualPhoneThread for callers
/// that block theirs.
class VirtualPhone : public QObject
{
    Q_OBJECT

public:
    explicit VirtualPhone(const PhoneOptions &options, QObject *parent = nullptr);
    ~VirtualPhone() override;

    /// Opens the transcript. False with a message when it cannot be written.
    bool openTranscript(QString *error);

    /// Plugs the phone into a USB socket: a new pseudo-terminal, settings as
    /// after ATZ; context definitions are kept in the phone. False with a
    /// message when it is plugged in already or the socket cannot be taken.
    bool plug(int socket, QString *error);

    /// Unplugs the phone: the connection ends and the PC's port hangs up.
    void unplug();

    bool isPlugged() const { return m_terminal.isOpen(); }

    /// The port's device while plugged in, for example "/dev/pts/7".
    QString ttyName() const { return m_terminal.slaveName(); }

    /// The socket of the last plug-in.
    int socket() const { return m_socketNumber; }

    /// The network ends the connection: NO CARRIER. False when there is none.
    bool dropConnection();

    /// Changes a misbehaviour; see Misbehaviour::set.
    bool setMisbehaviour(const QString &name, const QString &value, QString *error);

    /// Replaces what the network accepts. The list must not be empty.
    void setAcceptedApns(const QStringList &apns);

    /// How the network receives the phone from now on. A connection needs a
    /// phone that is registered.
    void setRegistration(Registration registration);

    /// Takes the card out and puts this one in.
    void insertCard(SimCard::State card);

    /// One line of what the phone is doing: "plugged socket=1 tty=/dev/pts/7
    /// port=open state=command carrier=no received=0 sent=0 data=0 apns=...";
    /// the counters are bytes since the last plug-in, data those received in
    /// data state.
    QString status() const;

signals:
    /// Bytes came from the PC in data state, the escape sequence among them.
    void dataReceived(const QByteArray &bytes);

private:
    struct PendingLine {
        QByteArray line;
        bool isTooLong;
    };

    void useNetworkProgram(const QStringList &command);
    void onReceived(const QByteArray &bytes);
    void onInUseChanged();
    void process();
    void processData();
    void processCommandBytes();
    void executeOrAnswer();
    void execute();
    void answerLine();
    void escapeToCommandState();
    void loseReadiness();
    void watchReadiness();
    void reportRegistration();
    void endConnection();
    void endConnectionWithoutNetwork();
    void answer(const QList<QByteArray> &texts, const QByteArray &result);
    void publish();

    PhoneOptions m_options;
    Misbehaviour m_misbehaviour;
    PhoneNetwork m_network;
    std::unique_ptr<NetworkProgram> m_networkProgram;
    ModemState m_modem;
    Transcript m_transcript;
    Pseudoterminal m_terminal;
    ChunkWriter m_writer;
    AnswerWriter m_answers;
    std::unique_ptr<UsbSocket> m_usbSocket;
    int m_socketNumber;
    QString m_plugId;
    bool m_publishedCarrier = false;
    bool m_publishedConnection = false;
    RegistrationState m_reportedRegistration;

    CommandLineReader m_reader;
    EscapeDetector m_escape;
    QTimer m_escapeTimer;
    QElapsedTimer m_clock;
    QByteArray m_input; // received, but not looked at yet
    std::optional<PendingLine> m_pending;
    std::optional<CommandAnswer> m_due; // found out already, but not said yet
    QTimer m_delayTimer;
    QTimer m_readinessTimer; // while connected
    bool m_isReady = true;   // the PC holds circuit 108, data terminal ready
    bool m_isProcessing = false;
    qint64 m_received = 0;
    qint64 m_sent = 0;
    qint64 m_dataReceived = 0;
};

} // namespace virtualphone
