#pragma once

#include <QByteArray>
#include <QLockFile>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace virtualphone {

/// A unix-domain socket on which any number of clients send command lines and
/// get one answer line for each.
class ControlServer : public QObject
{
    Q_OBJECT

public:
    /// Turns a command into its answer, both without a line's end.
    using Handler = std::function<QString(const QString &command)>;

    explicit ControlServer(Handler handler, QObject *parent = nullptr);
    ~ControlServer() override;

    /// Listens. A socket that a killed process left at that path is replaced.
    /// False with a message when another process listens there or the path
    /// cannot be used.
    bool listen(const QString &path, QString *error);

private:
    struct Client;
    void accept();
    void serve(Client *client);

    Handler m_handler;
    std::unique_ptr<QLockFile> m_lock;
    QString m_path;
    int m_socket = -1;
};

/// Sends one command to the socket and returns the answer. When none comes
/// within five seconds, the returned text begins with "error:" and says why.
QString sendControlCommand(const QString &path, const QString &command);

} // namespace virtualphone
