// answeringphone PC DELAY
// A phone on a pseudo-terminal, plugged into the simulated PC in that folder, that
// answers every command after so many milliseconds, and at once with 0. It answers OK,
// and a dial with NO CARRIER. Prints the terminal's name, and then, whenever an access
// point name was received, when its last byte was: nanoseconds of the monotonic clock,
// which all processes share.

#include "tests/platform/posix_pty.h"
#include "virtualphone/pluggedphone.h"

#include <QFile>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

namespace {

void plugIn(const QString &pc, const QString &node)
{
    const virtualphone::PluggedPhone phone{"USB Modem Driver", node, "bench", false, ::getpid()};
    QFile file(pc + "/usb/" + virtualphone::socketFileName(1));
    if (!file.open(QIODevice::WriteOnly) || file.write(phone.toJson()) < 0)
        qFatal("the phone cannot be plugged in");
}

bool begins(const std::string &text, const char *with)
{
    return text.rfind(with, 0) == 0;
}

void answer(Pty *pty, const std::string &command, std::chrono::milliseconds delay)
{
    if (begins(command, "AT+CGDCONT")) {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        std::printf("%lld\n", static_cast<long long>(std::chrono::nanoseconds(now).count()));
        std::fflush(stdout);
    }
    if (delay.count() > 0)
        std::this_thread::sleep_for(delay);
    pty->send(begins(command, "ATD") ? "\r\nNO CARRIER\r\n" : "\r\nOK\r\n");
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: answeringphone PC DELAY\n");
        return 2;
    }
    Pty pty;
    plugIn(QString::fromLocal8Bit(argv[1]), pty.node());
    std::printf("%s\n", qPrintable(pty.node()));
    std::fflush(stdout);
    const std::chrono::milliseconds delay(std::stoi(argv[2]));
    std::string received;
    for (;;) {
        char buffer[256];
        const ssize_t count = ::read(pty.master(), buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return 0;
        received.append(buffer, static_cast<std::size_t>(count));
        for (std::size_t end = 0; (end = received.find('\r')) != std::string::npos;) {
            answer(&pty, received.substr(0, end), delay);
            received.erase(0, end + 1);
        }
    }
}
