// Preloaded into Wine, so that a pseudo-terminal serves as a COM port: what a
// terminal line of a real serial adapter answers and a pseudo-terminal refuses
// is answered here.
//   - the counters of received bytes and the modem lines, which Wine's wait for
//     a comm event asks for
//   - "transmitter not empty", so that the wait does not end on an empty
//     transmitter before an answer arrived
//   - a read that finds nothing ends with an error that is not "try again":
//     Wine would let the read wait and swallow the next bytes, where Windows
//     returns at once with none. With SERIAL_READS_PEND=1 it is left to Wine.

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <dlfcn.h>
#include <linux/serial.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

bool isPseudoTerminal(int descriptor)
{
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && S_ISCHR(status.st_mode) &&
           major(status.st_rdev) >= 136 && major(status.st_rdev) <= 143;
}

template<typename Function> Function next(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);

    static const auto system = next<int (*)(int, unsigned long, void *)>("ioctl");
    if (request == TIOCGICOUNT && isPseudoTerminal(descriptor)) {
        auto *counters = static_cast<serial_icounter_struct *>(argument);
        *counters = {};
        return system(descriptor, FIONREAD, &counters->rx);
    }
    if (request == TIOCMGET && isPseudoTerminal(descriptor)) {
        *static_cast<int *>(argument) = TIOCM_DTR | TIOCM_RTS | TIOCM_CTS | TIOCM_DSR | TIOCM_CAR;
        return 0;
    }
    if (request == TIOCSERGETLSR && isPseudoTerminal(descriptor)) {
        *static_cast<unsigned *>(argument) = 0;
        return 0;
    }
    return system(descriptor, request, argument);
}

ssize_t read(int descriptor, void *buffer, size_t bytes)
{
    static const auto system = next<ssize_t (*)(int, void *, size_t)>("read");
    const ssize_t result = system(descriptor, buffer, bytes);
    static const bool mayPend = std::getenv("SERIAL_READS_PEND");
    if (mayPend)
        return result;
    const bool isEmpty = result == 0 ? bytes > 0 : result < 0 && errno == EAGAIN;
    if (!isEmpty || !isPseudoTerminal(descriptor))
        return result;
    errno = EIO;
    return -1;
}
}
