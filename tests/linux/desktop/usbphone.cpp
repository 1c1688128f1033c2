// The phone in one of the virtual machine's USB sockets. It runs on the host,
// which passes commands on to it (see boot).

#include "tests/desktop/waiting.h"
#include "tests/linux/guest/phone.h"

#include <QFile>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

const char hostAddress[] = "10.0.2.100";
constexpr quint16 hostPort = 7777;
const char port[] = "/dev/ttyACM0";

} // namespace

QString phone(const QString &command)
{
    const int line = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in host = {};
    host.sin_family = AF_INET;
    host.sin_port = htons(hostPort);
    ::inet_pton(AF_INET, hostAddress, &host.sin_addr);
    const QByteArray request = command.toUtf8() + '\n';
    const bool isSent = ::connect(line, reinterpret_cast<sockaddr *>(&host), sizeof host) == 0 &&
                        ::write(line, request.constData(), size_t(request.size())) > 0;
    QByteArray answer;
    char bytes[512];
    for (ssize_t size = 0; isSent && (size = ::read(line, bytes, sizeof bytes)) > 0;)
        answer.append(bytes, int(size));
    ::close(line);
    expect(answer.startsWith("ok"), "The phone says " + QString::fromUtf8(answer));
    return QString::fromUtf8(answer);
}

void plugPhone(bool plugged)
{
    if (phone("status").contains("unplugged") == plugged)
        phone(plugged ? "plug 1" : "unplug");
    waitFor(plugged ? "The phone's port" : "The end of the phone's port",
            [plugged] { return QFile::exists(port) == plugged; });
}

void letLineSettle()
{
    waitFor("The end of the phone's call", [] { return !phone("status").contains("carrier=yes"); });
}
