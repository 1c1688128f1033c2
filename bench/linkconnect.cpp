// Presses Connect in the program's window for each line "connect" on the standard input,
// and Disconnect for each "disconnect", on this machine, which has to be set up and have a
// phone. Prints "connected" or "disconnected" when the window shows that it is. Runs in a
// guest.

#include "bench/windowprogram.h"
#include "mainwindow/mainwindow.h"

#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    const WindowProgram program(argc, argv);
    MainWindow window;
    for (QTimer *timer : window.findChildren<QTimer *>())
        timer->stop(); // nothing happens by itself
    QApplication::processEvents();
    auto *disconnectButton = window.findChild<QPushButton *>("disconnectButton");
    char word[16];
    while (std::fgets(word, sizeof word, stdin)) {
        const bool connects = std::strcmp(word, "connect\n") == 0;
        window.findChild<QPushButton *>(connects ? "connectButton" : "disconnectButton")->click();
        std::printf("\n%s\n", disconnectButton->isHidden() ? "disconnected" : "connected");
        std::fflush(stdout);
    }
    return 0;
}
