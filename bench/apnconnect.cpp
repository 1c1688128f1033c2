// Presses Connect in the program's window for each line "connect" on the standard input,
// writes the name without the window for each "write", and prints "begun" and when:
// nanoseconds of the monotonic clock. The machine is the simulated PC in $SIMULATED_PC,
// except that its dial dialog ends at once, without a connection. The PC has to be set up
// and the phone plugged in.

#include "app/settings.h"
#include "bench/windowprogram.h"
#include "mainwindow/mainwindow.h"
#include "serial/apnconfiguration.h"

#include <QPushButton>
#include <QSettings>
#include <QTimer>

#include <chrono>
#include <cstdio>
#include <cstring>

int main(int argc, char *argv[])
{
    WindowProgram program(argc, argv);
    program.machine().RasDialDlgW.wrap([](auto &, auto...) -> platform::BOOL { return 0; });
    MainWindow window;
    for (QTimer *timer : window.findChildren<QTimer *>())
        timer->stop(); // only Connect is to connect
    QApplication::processEvents();

    char word[16];
    while (std::fgets(word, sizeof word, stdin)) {
        const auto start = std::chrono::steady_clock::now().time_since_epoch();
        if (std::strcmp(word, "write\n") == 0)
            configureModemApn(QSettings().value(settingskeys::CurrentPort).toInt(), "internet");
        else
            window.findChild<QPushButton *>("connectButton")->click();
        std::printf("\nbegun %lld\n",
                    static_cast<long long>(std::chrono::nanoseconds(start).count()));
        std::fflush(stdout);
        QApplication::processEvents();
    }
    return 0;
}
