#include "tests/linux/uml/serialphone.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/guest/guestsystem.h"
#include "tests/linux/guest/phone.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

void plugPhone(bool plugged)
{
    QFile rule(phoneRule);
    expect(rule.open(QIODevice::WriteOnly), "Cannot write the rule");
    // A property stays until an event comes without it.
    rule.write(plugged ? "KERNEL==\"ttyS0\", ENV{TOLVANE_MODEM_PORT}=\"1\"\n" : "\n");
    rule.close();
    runInGuest("udevadm", {"control", "--reload"});
    runInGuest("udevadm", {"trigger", "--action=add", "--settle", "/sys/class/tty/ttyS0"});
}

QString phone(const QString &command)
{
    const QString answer =
        runInGuest("/share/virtual-phone", {"--bus", "/tmp/bus", "--send", command});
    expect(answer.startsWith("ok"), "The phone says " + answer);
    return answer;
}

void letLineSettle()
{
    waitFor("The end of the phone's call", [] { return phone("status").contains("carrier=no"); });
    // The cable keeps what the phone says while nobody has the port open, where a
    // real port would lose it.
    const int line = ::open("/dev/ttyS0", O_RDWR | O_NOCTTY | O_NONBLOCK);
    expect(line >= 0, "Cannot open the line");
    char bytes[256];
    pollfd waiting = {line, POLLIN, 0};
    while (::poll(&waiting, 1, 1000) > 0 && ::read(line, bytes, sizeof bytes) > 0) {
    }
    ::close(line);
}
