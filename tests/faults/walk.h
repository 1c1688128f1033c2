#pragma once

#include "tests/faults/machines.h"
#include "tests/faults/story.h"
#include "tests/support/logcatcher.h"
#include "tests/support/stdoutcapture.h"

#include <functional>
#include <memory>

class MainWindow;

namespace faults {

/// A person who uses the program from the first start on: sets up, connects,
/// looks on, disconnects, starts again. What fails is tried once more, with the
/// button that the program offers. The windows and functions are the program's
/// own; the machine is the current platform.
class Walk
{
public:
    /// `report` gets the story, once: at the end, or when a box says that the
    /// program ends. The box is closed then.
    Walk(WalkedMachine *machine, std::function<void(const Story &)> report);
    ~Walk();

    /// Called at the beginning of each phase with its name.
    std::function<void(const QString &)> phaseBegins;

    /// The whole walk on a machine on which the program never ran.
    void firstRun();
    /// To a connection, with what the program offers now: its window or wizard, or a
    /// new start where it shows neither.
    void goOn();
    /// The shortest way to a connection, whatever an earlier run left behind.
    void laterRun();

private:
    void start(const char *phase);
    void see(const QString &result);
    void end();

    void startTwice();
    void openWindow();
    bool setUp();
    void connectToNetwork();
    void watchForBoxes();

    WalkedMachine *m_machine;
    std::function<void(const Story &)> m_report;
    LogCatcher m_log;
    StdoutCapture m_printed;
    int m_printedBefore = 0;
    Story m_story;
    std::unique_ptr<MainWindow> m_window;
};

} // namespace faults
