#pragma once

#include "tests/desktop/childprocess.h"
#include "tests/desktop/desktop.h"

#include <memory>

inline constexpr char mainTitle[] = "Tolvane Modem Connector";
inline constexpr char wizardTitle[] = "Welcome To Tolvane Modem Connector Settings";
inline constexpr char operatorsTitle[] = "Tolvane Mobile Operators";
inline constexpr char portNoticeTitle[] = "Phone Port";
inline constexpr char dialTitle[] = "Connect TolvaneModem 1";

/// A person at the guest's desktop with the installed program. Everything
/// throws NotAsExpected when it cannot be done.
class Person
{
public:
    /// Pictures and the program's log go to that folder.
    explicit Person(const QString &pictures);
    /// At a display of somebody else's, whose programs write to that log.
    Person(const QString &pictures, const QString &log, const Desktop::Display &display);

    Desktop desktop;

    void startProgram(const QStringList &command = {"tolvane-dialler"});
    /// Nothing when it was not started.
    void endProgram();
    /// Starts the program for the first time, goes through its wizard by keyboard
    /// and ends it.
    void setUp();
    void waitForProgramEnd() const;
    /// What the program wrote to its debug stream since it was started.
    QByteArray log() const;
    void waitForLog(const QByteArray &text, qsizetype from = 0) const;

    /// Waits until the window is there and has the keyboard.
    WindowId waitForWindow(const char *title) const;
    void pressMainButton() const;
    /// What the main window's button looks like now.
    QImage face() const;
    void waitForOtherFace(const QImage &before, const QString &what) const;

    /// Waits for the dialog that dials, and for its end; the link is up then.
    void dial();
    /// What the dial dialog says, copied by mouse and keyboard. This program
    /// itself, on the same display, then looks at the clipboard.
    QString dialogText() const;
    /// Waits for the dialog, whose dial fails with that number and these words,
    /// and leaves it.
    void dialInVain(const QString &picture, const QString &words, int error);

    /// Leaves a picture of the screen and a list of what runs.
    void recordFailure();

private:
    QString m_log;
    qsizetype m_logStart = 0;
    bool m_hasDialled = false;
    std::unique_ptr<ChildProcess> m_program;
};
