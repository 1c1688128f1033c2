#include "virtualphone/controlserver.h"

#include "virtualphone/processlock.h"

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

namespace virtualphone {

namespace {

const int maximumLine = 4096;

QString systemError()
{
    return QString::fromLocal8Bit(strerror(errno));
}

bool makeAddress(const QString &path, sockaddr_un *address, QString *error)
{
    const QByteArray name = QFile::encodeName(path);
    *address = {};
    address->sun_family = AF_UNIX;
    if (name.size() >= static_cast<int>(sizeof address->sun_path)) {
        *error = QString("the path of the control socket is too long: %1").arg(path);
        return false;
    }
    memcpy(address->sun_path, name.constData(), static_cast<size_t>(name.size()));
    return true;
}

} // namespace

struct ControlServer::Client : QObject {
    Client(int descriptor, QObject *owner)
        : QObject(owner), m_descriptor(descriptor), m_notifier(descriptor, QSocketNotifier::Read)
    {
    }
    ~Client() override
    {
        m_notifier.setEnabled(false);
        ::close(m_descriptor);
    }

    const int m_descriptor;
    QSocketNotifier m_notifier;
    QByteArray m_input;
};

ControlServer::ControlServer(Handler handler, QObject *parent)
    : QObject(parent), m_handler(std::move(handler))
{
}

ControlServer::~ControlServer()
{
    if (m_socket < 0)
        return;
    ::close(m_socket);
    QFile::remove(m_path);
}

bool ControlServer::listen(const QString &path, QString *error)
{
    sockaddr_un address{};
    if (!makeAddress(path, &address, error))
        return false;
    const QFileInfo file(path);
    qint64 holder = 0;
    m_lock = takeLock(QString("%1/.%2.lock").arg(file.path(), file.fileName()), &holder);
    if (!m_lock) {
        if (holder == 0)
            *error = QString("cannot write into %1").arg(file.path());
        else
            *error = QString("another phone (process %1) listens at %2; give this one its own "
                             "name with --control")
                         .arg(holder)
                         .arg(path);
        return false;
    }
    QFile::remove(path);
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_socket < 0 ||
        bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        ::listen(m_socket, 8) != 0) {
        *error = QString("cannot listen at %1: %2").arg(path, systemError());
        if (m_socket >= 0)
            ::close(m_socket);
        m_socket = -1;
        return false;
    }
    m_path = path;
    auto *notifier = new QSocketNotifier(m_socket, QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { accept(); });
    return true;
}

void ControlServer::accept()
{
    const int descriptor = accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    auto *client = new Client(descriptor, this);
    connect(&client->m_notifier, &QSocketNotifier::activated, this,
            [this, client] { serve(client); });
}

void ControlServer::serve(Client *client)
{
    char buffer[1024];
    const ssize_t count = ::read(client->m_descriptor, buffer, sizeof buffer);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0)
        client->m_input.append(buffer, static_cast<int>(count));
    else if (!client->m_input.isEmpty())
        client->m_input += '\n'; // the last line may lack its end
    bool isWelcome = count > 0;
    for (;;) {
        const auto end = client->m_input.indexOf('\n');
        if (end < 0)
            break;
        const QString command = QString::fromUtf8(client->m_input.left(end));
        client->m_input.remove(0, end + 1);
        const QByteArray answer = m_handler(command).toUtf8() + '\n';
        // Answers are short: a client that has no room for one does not read them
        // and is disconnected.
        if (send(client->m_descriptor, answer.constData(), static_cast<size_t>(answer.size()),
                 MSG_NOSIGNAL) != answer.size())
            isWelcome = false;
    }
    if (!isWelcome || client->m_input.size() > maximumLine) {
        client->m_notifier.setEnabled(false);
        client->deleteLater();
    }
}

QString sendControlCommand(const QString &path, const QString &command)
{
    sockaddr_un address{};
    QString error;
    if (!makeAddress(path, &address, &error))
        return "error: " + error;
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{5, 0};
    QByteArray answer;
    if (descriptor < 0 ||
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience) != 0 ||
        connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        error = QString("no phone listens at %1: %2").arg(path, systemError());
    } else {
        const QByteArray line = command.toUtf8() + '\n';
        send(descriptor, line.constData(), static_cast<size_t>(line.size()), MSG_NOSIGNAL);
        char buffer[1024];
        ssize_t count = 0;
        while (!answer.endsWith('\n') && (count = ::read(descriptor, buffer, sizeof buffer)) > 0)
            answer.append(buffer, static_cast<int>(count));
        if (!answer.endsWith('\n'))
            error = QString("the phone at %1 does not answer").arg(path);
    }
    if (descriptor >= 0)
        ::close(descriptor);
    return error.isEmpty() ? QString::fromUtf8(answer).trimmed() : "error: " + error;
}

} // namespace virtualphone
