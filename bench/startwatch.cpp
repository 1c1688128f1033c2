// startwatch COMMAND [ARGUMENT...]
// Starts a program, waits for its first window and prints, in milliseconds since just
// before the start, when the window was mapped and when something was first painted in
// it; and how much processor time the program had used by then. Then the program is
// killed. Nothing else may show windows on the display.

#include <X11/extensions/Xdamage.h>
#include <X11/Xlib.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int Patience = 30000;    // milliseconds
constexpr int SmallestWindow = 50; // pixels; smaller ones are not meant for people

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// The next event; false when none comes for too long.
bool nextEvent(Display *display, XEvent *event)
{
    while (XPending(display) == 0) {
        pollfd connection{ConnectionNumber(display), POLLIN, 0};
        if (::poll(&connection, 1, Patience) <= 0)
            return false;
    }
    XNextEvent(display, event);
    return true;
}

bool isForPeople(Display *display, Window window)
{
    XWindowAttributes attributes;
    return XGetWindowAttributes(display, window, &attributes) != 0 &&
           attributes.width >= SmallestWindow && attributes.height >= SmallestWindow;
}

/// In milliseconds, of all threads.
double processorTime(pid_t process)
{
    clockid_t clock = 0;
    timespec time{};
    if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
        return 0;
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

int ignoreError(Display *, XErrorEvent *)
{
    return 0; // a window that is gone again
}

/// Waits until a window shows and something is painted; false when none does.
bool watch(Display *display, int damageEvent, Clock::time_point start, double *mapped,
           double *painted)
{
    *mapped = 0;
    XEvent event;
    while (nextEvent(display, &event)) {
        if (event.type == MapNotify && *mapped == 0 && !event.xmap.override_redirect) {
            const double now = millisecondsSince(start);
            if (isForPeople(display, event.xmap.window))
                *mapped = now;
        } else if (event.type == damageEvent && *mapped > 0) {
            *painted = millisecondsSince(start);
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: startwatch COMMAND [ARGUMENT...]\n");
        return 2;
    }
    Display *display = XOpenDisplay(nullptr);
    int damageBase = 0;
    int errorBase = 0;
    if (!display || !XDamageQueryExtension(display, &damageBase, &errorBase)) {
        std::fprintf(stderr, "startwatch: no display that tells what is painted\n");
        return EXIT_FAILURE;
    }
    XSetErrorHandler(ignoreError);
    const Window root = DefaultRootWindow(display);
    XSelectInput(display, root, SubstructureNotifyMask);
    XDamageCreate(display, root, XDamageReportRawRectangles);
    XSync(display, True);

    const Clock::time_point start = Clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        ::execvp(argv[1], argv + 1);
        std::perror(argv[1]);
        ::_exit(127);
    }
    double mapped = 0;
    double painted = 0;
    const bool isShown = watch(display, damageBase + XDamageNotify, start, &mapped, &painted);
    const double used = processorTime(child);
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    if (!isShown) {
        std::fprintf(stderr, "startwatch: %s shows no window\n", argv[1]);
        return EXIT_FAILURE;
    }
    std::printf("%.2f %.2f %.2f\n", mapped, painted, used);
    return EXIT_SUCCESS;
}
