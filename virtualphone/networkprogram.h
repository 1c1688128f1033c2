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

    /// Starts a run; one that still goes on is ended first. When the program
    /// cannot be started, ended() says so.
    void start();
    /// Gives bytes to the program; they are lost when it does not run.
    void write(const QByteArray &bytes);

    /// Ends the run; no signal of it follows.
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
