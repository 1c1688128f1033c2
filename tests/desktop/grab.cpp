#include "tests/desktop/grab.h"

#include "tests/desktop/waiting.h"

#include <memory>

// Last: its macros take words that other headers use.
#include <X11/Xlib.h>

bool canGrabInput(const QString &display)
{
    // The end of the connection gives back what was had.
    const std::unique_ptr<Display, int (*)(Display *)> connection(
        XOpenDisplay(display.toLocal8Bit().constData()), XCloseDisplay);
    expect(connection != nullptr, "No display " + display);
    const Window root = DefaultRootWindow(connection.get());
    const int mouse = XGrabPointer(connection.get(), root, 0, ButtonPressMask, GrabModeAsync,
                                   GrabModeAsync, 0, 0, CurrentTime);
    const int keyboard =
        XGrabKeyboard(connection.get(), root, 0, GrabModeAsync, GrabModeAsync, CurrentTime);
    return mouse == GrabSuccess && keyboard == GrabSuccess;
}
