#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

namespace virtualphone {

class VirtualPhone;

/// Understands the commands that move the phone and change it while it runs.
/// One line each, answered by one line, "ok ..." or "error: ...":
///
///     plug [SOCKET]            into that socket, or the one it was in last
///     unplug
///     status                   see VirtualPhone::status
///     drop                     the network ends the connection
///     set NAME VALUE           a misbehaviour
///     accept-apn NAME[,NAME]   replaces what the network accepts
///     registration STATE       how the network receives the phone; see readRegistration
///     card STATE               another card is put in; see readCardState
///     quit                     ends the program
class PhoneControl : public QObject
{
    Q_OBJECT

public:
    /// The phone must outlive it.
    explicit PhoneControl(VirtualPhone *phone, QObject *parent = nullptr);

    /// Carries out a command and returns its answer, without a line's end.
    QString execute(const QString &command);

    /// The commands with what they take, for --help: "plug [SOCKET]", "unplug" ...
    static QStringList commandHelp();

signals:
    /// "quit" was received; its answer has not been sent yet.
    void quitRequested();

private:
    struct Command;
    static const QList<Command> &commands();

    QString plug(const QString &socket);
    QString unplug(const QString &);
    QString status(const QString &);
    QString drop(const QString &);
    QString set(const QString &setting);
    QString acceptApns(const QString &apns);
    QString registration(const QString &state);
    QString card(const QString &state);
    QString quit(const QString &);

    VirtualPhone *m_phone;
};

/// Reads a USB socket's number, 1 to 99. False, with *number as it was, for any
/// other text.
bool readSocketNumber(const QString &text, int *number);

} // namespace virtualphone
