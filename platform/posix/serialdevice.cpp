#include "platform/posix/serialdevice.h"

#include "platform/posix/errno.h"
#include "platform/standin/lasterror.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

namespace platform {

namespace {

struct BaudRate {
    DWORD rate;
    speed_t speed;
};

constexpr BaudRate baudRates[] = {
    {50, B50},       {75, B75},         {110, B110},       {134, B134},       {150, B150},
    {200, B200},     {300, B300},       {600, B600},       {1200, B1200},     {1800, B1800},
    {2400, B2400},   {4800, B4800},     {9600, B9600},     {19200, B19200},   {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600},
};

// The bit fields of DCB.Flags.
constexpr DWORD FlagBinary = 0x0001;
constexpr DWORD FlagParityCheck = 0x0002;
constexpr DWORD FlagCtsFlow = 0x0004;
constexpr DWORD FlagDtrEnable = 0x0010;
constexpr DWORD FlagOutX = 0x0100;
constexpr DWORD FlagInX = 0x0200;
constexpr DWORD FlagRtsEnable = 0x1000;
constexpr DWORD FlagRtsHandshake = 0x2000;
constexpr DWORD FlagRtsMask = 0x3000;

constexpr BYTE OddParity = 1;
constexpr BYTE EvenParity = 2;
constexpr BYTE MarkParity = 3;
constexpr BYTE SpaceParity = 4;
constexpr BYTE TwoStopBits = 2;

/// A real device loses its exclusive flag when it is closed. A pseudo-terminal
/// keeps it until its other end is closed, even after this process has crashed.
bool isPseudoTerminal(int descriptor)
{
    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
        return false;
    constexpr unsigned FirstSlaveMajor = 136;
    constexpr unsigned LastSlaveMajor = 143;
    const unsigned number = major(status.st_rdev);
    return number >= FirstSlaveMajor && number <= LastSlaveMajor;
}

/// A COM port never edits, echoes or turns bytes into signals. Speed, format
/// and flow control stay as they are.
bool makeRaw(int descriptor)
{
    termios line = {};
    if (::tcgetattr(descriptor, &line) != 0)
        return false;
    line.c_iflag &= ~tcflag_t(IGNBRK | BRKINT | PARMRK | ISTRIP | INLCR | IGNCR | ICRNL);
    line.c_oflag &= ~tcflag_t(OPOST);
    line.c_lflag &= ~tcflag_t(ECHO | ECHONL | ICANON | ISIG | IEXTEN);
    line.c_cflag |= CLOCAL | CREAD;
    line.c_cc[VMIN] = 1; // an empty line is EAGAIN, so that 0 bytes mean a hang-up
    line.c_cc[VTIME] = 0;
    return ::tcsetattr(descriptor, TCSANOW, &line) == 0;
}

/// A serial driver of Windows receives nothing while its port is closed. A
/// terminal keeps what arrives meanwhile, and the next program to open it would
/// take that for an answer to its own command.
void dropStaleInput(int descriptor)
{
    pollfd line = {descriptor, POLLIN, 0};
    ::poll(&line, 1, 0); // passes on first what has come but was not delivered
    ::tcflush(descriptor, TCIFLUSH);
}

/// Whether a rate means something to the line. A virtual one carries bytes as
/// fast as it can and keeps whatever rate it had.
bool hasRate(int descriptor)
{
    serial_struct settings = {};
    return ::ioctl(descriptor, TIOCGSERIAL, &settings) == 0;
}

/// Whether another process has claimed the terminal for itself alone. Root
/// may open it nevertheless.
bool isClaimed(int descriptor)
{
    int exclusive = 0;
    return ::ioctl(descriptor, TIOCGEXCL, &exclusive) == 0 && exclusive != 0;
}

DWORD deviceError()
{
    const DWORD code = errorFromErrno(errno);
    return code == ErrorFileNotFound ? ErrorDeviceNotConnected : code;
}

DWORD flagsOf(const termios &line)
{
    DWORD flags = FlagBinary | FlagDtrEnable;
    if (line.c_iflag & INPCK)
        flags |= FlagParityCheck;
    if (line.c_iflag & IXON)
        flags |= FlagOutX;
    if (line.c_iflag & IXOFF)
        flags |= FlagInX;
    flags |= (line.c_cflag & CRTSCTS) ? FlagCtsFlow | FlagRtsHandshake : FlagRtsEnable;
    return flags;
}

BYTE byteSizeOf(const termios &line)
{
    switch (line.c_cflag & CSIZE) {
    case CS5:
        return 5;
    case CS6:
        return 6;
    case CS7:
        return 7;
    default:
        return 8;
    }
}

BYTE parityOf(const termios &line)
{
    if (!(line.c_cflag & PARENB))
        return NoParity;
    if (line.c_cflag & CMSPAR)
        return (line.c_cflag & PARODD) ? MarkParity : SpaceParity;
    return (line.c_cflag & PARODD) ? OddParity : EvenParity;
}

void setTcFlag(tcflag_t *flags, tcflag_t bit, bool on)
{
    if (on)
        *flags |= bit;
    else
        *flags &= ~bit;
}

DWORD setBaudRate(termios *line, DWORD rate)
{
    for (const BaudRate &entry : baudRates) {
        if (entry.rate == rate) {
            ::cfsetispeed(line, entry.speed);
            ::cfsetospeed(line, entry.speed);
            return Success;
        }
    }
    return ErrorInvalidParameter;
}

DWORD setFormat(termios *line, const DeviceControlBlock &settings)
{
    constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    if (settings.ByteSize < 5 || settings.ByteSize > 8)
        return ErrorInvalidParameter;
    if (settings.Parity > SpaceParity)
        return ErrorInvalidParameter;
    if (settings.StopBits != OneStopBit && settings.StopBits != TwoStopBits)
        return ErrorInvalidParameter;

    line->c_cflag &= ~tcflag_t(CSIZE);
    line->c_cflag |= sizes[settings.ByteSize - 5];
    setTcFlag(&line->c_cflag, CSTOPB, settings.StopBits == TwoStopBits);
    setTcFlag(&line->c_cflag, PARENB, settings.Parity != NoParity);
    setTcFlag(&line->c_cflag, PARODD,
              settings.Parity == OddParity || settings.Parity == MarkParity);
    setTcFlag(&line->c_cflag, CMSPAR,
              settings.Parity == MarkParity || settings.Parity == SpaceParity);
    return Success;
}

DWORD setFlags(termios *line, DWORD flags)
{
    constexpr DWORD known = FlagBinary | FlagParityCheck | FlagCtsFlow | FlagDtrEnable | FlagOutX |
                            FlagInX | FlagRtsMask;
    const DWORD rts = flags & FlagRtsMask;
    const bool handshake = rts == FlagRtsHandshake;
    if (!(flags & FlagBinary))
        return ErrorInvalidParameter; // Windows has no other mode
    const bool mapped = !(flags & ~known) && (flags & FlagDtrEnable) &&
                        (handshake || rts == FlagRtsEnable) &&
                        handshake == ((flags & FlagCtsFlow) != 0);
    if (!mapped) {
        failUnsupported("SetCommState", "this flow control");
        return ErrorNotSupported;
    }
    setTcFlag(&line->c_iflag, INPCK, flags & FlagParityCheck);
    setTcFlag(&line->c_iflag, IXON, flags & FlagOutX);
    setTcFlag(&line->c_iflag, IXOFF, flags & FlagInX);
    setTcFlag(&line->c_cflag, CRTSCTS, handshake);
    return Success;
}

} // namespace

int openSerialDevice(const char *node, DWORD *error)
{
    const int descriptor = ::open(node, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        // The node of a pseudo-terminal still exists for a moment after its
        // other end is closed.
        *error = errno == EIO ? ErrorFileNotFound : errorFromErrno(errno);
        return -1;
    }
    if (!::isatty(descriptor)) {
        *error = ErrorFileNotFound;
        ::close(descriptor);
        return -1;
    }
    // The terminal's exclusive mode does not keep out root. The lock does, and
    // also a second opening by this program.
    const bool claimed = !isPseudoTerminal(descriptor) && isClaimed(descriptor);
    if (claimed || ::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        *error = ErrorAccessDenied;
        ::close(descriptor);
        return -1;
    }
    const bool exclusive = isPseudoTerminal(descriptor) || ::ioctl(descriptor, TIOCEXCL) == 0;
    if (!exclusive || !makeRaw(descriptor)) {
        *error = deviceError();
        closeSerialDevice(descriptor);
        return -1;
    }
    dropStaleInput(descriptor);
    *error = Success;
    return descriptor;
}

void closeSerialDevice(int descriptor)
{
    if (!isPseudoTerminal(descriptor))
        ::ioctl(descriptor, TIOCNXCL);
    ::close(descriptor);
}

bool isHungUp(int descriptor)
{
    pollfd state = {descriptor, 0, 0};
    if (::poll(&state, 1, 0) < 0)
        return errno != EINTR;
    return (state.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0;
}

DWORD inputWaiting(int descriptor)
{
    int count = 0;
    if (::ioctl(descriptor, FIONREAD, &count) != 0 || count < 0)
        return 0;
    return static_cast<DWORD>(count);
}

DWORD readLineSettings(int descriptor, DeviceControlBlock *settings)
{
    termios line = {};
    if (::tcgetattr(descriptor, &line) != 0)
        return deviceError();
    *settings = {};
    settings->DCBlength = sizeof *settings;
    const speed_t speed = ::cfgetospeed(&line);
    for (const BaudRate &entry : baudRates) {
        if (entry.speed == speed)
            settings->BaudRate = entry.rate;
    }
    settings->Flags = flagsOf(line);
    settings->ByteSize = byteSizeOf(line);
    settings->Parity = parityOf(line);
    settings->StopBits = (line.c_cflag & CSTOPB) ? TwoStopBits : OneStopBit;
    settings->XonChar = static_cast<char>(line.c_cc[VSTART]);
    settings->XoffChar = static_cast<char>(line.c_cc[VSTOP]);
    return Success;
}

DWORD applyLineSettings(int descriptor, const DeviceControlBlock &settings)
{
    termios before = {};
    if (::tcgetattr(descriptor, &before) != 0)
        return deviceError();
    termios line = before;
    DWORD code = setBaudRate(&line, settings.BaudRate);
    if (code == Success)
        code = setFormat(&line, settings);
    if (code == Success)
        code = setFlags(&line, settings.Flags);
    if (code != Success)
        return code;
    line.c_cc[VSTART] = static_cast<cc_t>(settings.XonChar);
    line.c_cc[VSTOP] = static_cast<cc_t>(settings.XoffChar);
    line.c_cflag |= CLOCAL | CREAD;
    if (::tcsetattr(descriptor, TCSANOW, &line) != 0)
        return deviceError();

    // tcsetattr succeeds when it could carry out any part of the request. So
    // the settings are read back.
    termios applied = {};
    if (::tcgetattr(descriptor, &applied) != 0)
        return deviceError();
    const bool sameSpeed = ::cfgetospeed(&applied) == ::cfgetospeed(&line);
    if (byteSizeOf(applied) != settings.ByteSize || parityOf(applied) != settings.Parity ||
        (hasRate(descriptor) && !sameSpeed)) {
        ::tcsetattr(descriptor, TCSANOW, &before);
        return ErrorInvalidParameter;
    }
    return Success;
}

} // namespace platform
