#pragma once

#include "tests/faults/machines.h"
#include "tests/soak/steeredclock.h"

#include <QMap>
#include <QString>

#include <memory>
#include <random>

class MainWindow;

namespace soak {

/// A person who has the program open, and does with it what one does in a day.
/// What is not as it should be ends the process with a message.
class Day
{
public:
    /// `threads`: how many the process has while it rests.
    Day(faults::WalkedMachine *machine, int threads);
    ~Day();

    /// Starts the program, uses it for at least so long, and closes it. The phone is in
    /// its socket before and afterwards, and nothing is connected.
    void useProgram(int minutes);

    /// Milliseconds of the clock.
    qint64 now() const { return m_clock.now(); }

    /// How often the person did what, by its name.
    const QMap<QString, int> &done() const { return m_done; }

    /// What the latest of these has cost that was still there afterwards, in bytes.
    const QMap<QString, qint64> &kept() const { return m_kept; }

private:
    using Action = void (Day::*)();

    void start();
    void setUp();
    void close();

    void surf();
    void loseNetwork();
    void pullWhileConnected();
    void pullWhileDialling();
    void failToDial();
    void leaveWizard();
    void leaveSetUp();
    void setUpAgain();
    void readDialogs();
    void changeOperator();

    void connectByHand();
    void waitUntilDisconnected();
    void expectView(const char *view, const char *when) const;
    void rest();
    int someMinutes(int most);

    faults::WalkedMachine *m_machine;
    const int m_threads;
    SteeredClock m_clock;
    std::mt19937 m_random{1}; // the same day each time
    std::unique_ptr<MainWindow> m_window;
    bool m_isPulledInDial = false;
    QMap<QString, int> m_done;
    QMap<QString, qint64> m_kept;
};

} // namespace soak
