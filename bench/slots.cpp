// slots NUMBER
// Calls each slot of the program's windows that often, on the simulated PC in
// $SIMULATED_PC, which has to be set up and have a phone, and writes to the standard
// error how long each call blocked the window: its name and microseconds. What passes
// while the phone answers, and in the system's dial dialog, is taken off.

#include "bench/windowprogram.h"
#include "mainwindow/mainwindow.h"
#include "wizard/settingswizard.h"
#include "wizard/setuppage.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QPushButton>
#include <QThreadPool>
#include <QTimer>

#include <cstdio>
#include <functional>

namespace {

qint64 outside = 0; // nanoseconds that the phone and the dialog took

/// Lets an operation's time count as theirs.
template<typename Slot> void takeOff(Slot &slot)
{
    slot.wrap([](auto &next, auto... arguments) {
        QElapsedTimer time;
        time.start();
        const auto result = next(arguments...);
        outside += time.nsecsElapsed();
        return result;
    });
}

void measure(const char *name, const std::function<void()> &call)
{
    outside = 0;
    QElapsedTimer time;
    time.start();
    call();
    const qint64 own = time.nsecsElapsed() - outside;
    std::fprintf(stderr, "\n#%s %lld\n", name, static_cast<long long>(own / 1000));
    QApplication::processEvents();
}

void invoke(MainWindow &window, const char *slot)
{
    measure(slot, [&] { QMetaObject::invokeMethod(&window, slot); });
}

SettingsWizard *openWizard(const MainWindow &window)
{
    for (SettingsWizard *wizard : window.findChildren<SettingsWizard *>()) {
        if (wizard->isVisible())
            return wizard;
    }
    qFatal("no wizard is open");
}

/// The steps run beside the window; what it does itself is measured.
void goThroughWizard(MainWindow &window)
{
    invoke(window, "ShowCreateNewConnectionWizard");
    SettingsWizard *wizard = openWizard(window);
    measure("SetupPage::StartSetup", [&] { wizard->next(); });
    const auto *page = qobject_cast<SetupPage *>(wizard->currentPage());
    while (!page->isComplete()) {
        QThreadPool::globalInstance()->waitForDone();
        measure("SetupPage::OnDriverSetupComplete", [] { QApplication::processEvents(); });
        const auto retries = page->findChildren<QPushButton *>();
        if (!retries.isEmpty() && retries.first()->isVisible())
            retries.first()->click();
    }
    measure("SettingsWizard::Closing", [&] { wizard->button(QWizard::FinishButton)->click(); });
}

void showDialog(MainWindow &window, const char *slot)
{
    invoke(window, slot);
    for (QDialog *dialog : window.findChildren<QDialog *>()) {
        if (dialog->isVisible())
            dialog->close();
    }
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2)
        return 2;
    const int number = std::atoi(argv[1]);
    WindowProgram program(argc, argv);
    takeOff(program.machine().WaitForSingleObject);
    takeOff(program.machine().RasDialDlgW);
    takeOff(program.machine().RasHangUpW);
    for (int i = 0; i < number; ++i) {
        std::unique_ptr<MainWindow> made;
        measure("MainWindow", [&] { made = std::make_unique<MainWindow>(); });
        MainWindow &window = *made;
        for (QTimer *timer : window.findChildren<QTimer *>())
            timer->stop();
        invoke(window, "UpdateProgressBar");
        invoke(window, "StartDialling");
        invoke(window, "CheckDialupConnectionStatus");
        invoke(window, "StopDialling");
        invoke(window, "CheckPortAvailability");
        for (QTimer *timer : window.findChildren<QTimer *>())
            timer->stop();
        showDialog(window, "ShowAboutDialog");
        showDialog(window, "ShowCreditDialog");
        // Each set-up makes a modem and an entry: a few show as much as many.
        if (i % 10 == 0)
            goThroughWizard(window);
    }
    return 0;
}
