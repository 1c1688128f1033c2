#include "tests/desktop/closerequest.h"

#include "tests/desktop/waiting.h"

#include <memory>

// Last: its macros take words that other headers use.
#include <X11/Xlib.h>

void requestClose(const QString &display, const QString &window)
{
    const std::unique_ptr<Display, int (*)(Display *)> connection(
        XOpenDisplay(display.toLocal8Bit().constData()), XCloseDisplay);
    expect(connection != nullptr, "No display " + display);
    bool isNumber = false;
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window.toULong(&isNumber);
    expect(isNumber, "No window " + window);
    event.xclient.message_type = XInternAtom(connection.get(), "_NET_CLOSE_WINDOW", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = CurrentTime;
    event.xclient.data.l[1] = 2; // at the request of the user
    XSendEvent(connection.get(), DefaultRootWindow(connection.get()), False,
               SubstructureRedirectMask | SubstructureNotifyMask, &event);
    XSync(connection.get(), False);
}
