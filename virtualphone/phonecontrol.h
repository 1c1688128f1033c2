#pragma once

#include <QObject>
#include <QString>

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
///     quit                     ends the program
class PhoneControl : public QObject
{
    Q_OBJECT

public:
    /// The phone must outlive it.
    explicit PhoneControl(VirtualPhone *phone, QObject *parent = nullptr);

    /// Carries a command out and returns its answer, without a line's end.
    QString execute(const QString &command);

signals:
    /// "quit" came; its answer has not been sent yet.
    void quitRequested();

private:
    QString plug(const QString &socket);
    QString set(const QString &setting);
    QString acceptApns(const QString &apns);

    VirtualPhone *m_phone;
};

/// Reads a USB socket's number, 1 to 99. False when it is none.
bool readSocketNumber(const QString &text, int *number);

} // namespace virtualphone
