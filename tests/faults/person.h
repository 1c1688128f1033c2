#pragma once

#include <QString>

class MainWindow;
class QTimer;
class SettingsWizard;

// What a person sees and does in the program's windows.
namespace faults {

inline constexpr int CountdownInterval = 100; // milliseconds, as the window's timers have them
inline constexpr int StatusInterval = 10000;
inline constexpr int PortInterval = 5000;

/// The window's own timer with this interval.
QTimer *timerOf(const MainWindow &window, int interval);

/// Lets a timer time out at once, if it runs.
void timeOut(QTimer *timer);

/// Whether a button of this name is there to be pressed.
bool offers(const MainWindow &window, const char *control);

/// A click on a button.
void press(const MainWindow &window, const char *button);

/// Null when none is open.
SettingsWizard *openWizard(const MainWindow &window);

/// Waits until no step of the set-up runs and the page shows what came of them.
void settle(const SettingsWizard &wizard);

/// Whether the wizard is on its second page.
bool isSettingUp(const SettingsWizard &wizard);

/// Which of the results in story.h a person sees.
QString viewOf(const MainWindow &window);

} // namespace faults
