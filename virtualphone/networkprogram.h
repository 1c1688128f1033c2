#pragma once

#include <QByteArray>
#include <QObject>
#include <QStringList>

class QProcess;

namespace virtualphone {

/// The network behind the phone as a program: what the PC sends in data state
/// is its standard input, its standard output goes to the PC. One run for each
/// data connection.
class NetworkProgram : public QObject
{
    Q_OBJECT

public:
    /// The program and its arguments; no shell reads them.
    explicit NetworkProgram(const QStringList &command, QObject *parent = nullptr);
    /// Ends the program and waits for it.
    ~NetworkProgram() override;

    /// Begins a run; one that is under way is ended first. That the program
    /// cannot be started is told by ended().
    void start();
    /// Gives bytes to the run under way; without one they are lost, as on a
    /// line that nobody listens to.
    void write(const QByteArray &bytes);

    /// Ends the run; nothing of it is heard any more.
    void stop();

signals:
    /// The program printed this, cut wherever the pipe cut it.
    void received(const QByteArray &bytes);

    /// The program ended by itself or could not be started.
    void ended(const QString &reason);

private:
    QStringList m_command;
    QProcess *m_process = nullptr; // of the connection that is up
};

} // namespace virtualphone
