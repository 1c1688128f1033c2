#include "tests/soak/day.h"

#include "mainwindow/mainwindow.h"
#include "tests/faults/person.h"
#include "tests/faults/story.h"
#include "tests/soak/levels.h"
#include "wizard/settingswizard.h"

#include <QAbstractButton>
#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDialog>
#include <QThread>

using namespace faults;

namespace soak {

namespace {

constexpr int Minute = 60000; // milliseconds

/// Lets what is open be painted.
void look()
{
    QCoreApplication::processEvents();
}

void trigger(const MainWindow &window, const char *action)
{
    window.findChild<QAction *>(action)->trigger();
}

} // namespace

Day::Day(WalkedMachine *machine, int threads) : m_machine(machine), m_threads(threads)
{
    // A dial takes its time, and the phone may be pulled meanwhile.
    m_machine->platform()->RasDialDlgW.wrap([this](auto &next, auto... arguments) {
        m_clock.pass(StatusInterval * 2);
        if (m_isPulledInDial)
            m_machine->pullPhone();
        return next(arguments...);
    });
}

Day::~Day() = default;

void Day::useProgram(int minutes)
{
    static const struct {
        const char *name;
        Action action;
    } actions[] = {
        {"connected for a while", &Day::surf},
        {"network lost", &Day::loseNetwork},
        {"phone pulled while connected", &Day::pullWhileConnected},
        {"phone pulled while dialling", &Day::pullWhileDialling},
        {"dialled without a phone", &Day::failToDial},
        {"wizard left", &Day::leaveWizard},
        {"wizard left while it sets up", &Day::leaveSetUp},
        {"set up again", &Day::setUpAgain},
        {"dialogs read", &Day::readDialogs},
        {"operator changed", &Day::changeOperator},
    };
    const qint64 end = m_clock.now() + qint64(minutes) * Minute;
    start();
    while (m_clock.now() < end) {
        rest();
        const auto &chosen = actions[m_random() % std::size(actions)];
        const Levels before = levels(m_threads);
        (this->*chosen.action)();
        expectView(disconnectedResult, chosen.name);
        rest();
        const Levels after = levels(m_threads);
        if (after.widgets != before.widgets || after.descriptors != before.descriptors ||
            after.threads != before.threads)
            qFatal("%s: %d widgets, %d descriptors and %d threads have become %d, %d and %d",
                   chosen.name, before.widgets, before.descriptors, before.threads, after.widgets,
                   after.descriptors, after.threads);
        m_kept[chosen.name] = after.bytes - before.bytes;
        ++m_done[chosen.name];
        m_clock.pass(someMinutes(2));
    }
    close();
}

/// With the phone in its socket, or plugged in a little later.
void Day::start()
{
    const bool isLate = m_random() % 2 == 0;
    if (isLate)
        m_machine->pullPhone();
    m_machine->answerDial();
    m_window = std::make_unique<MainWindow>();
    if (openWizard(*m_window)) {
        m_machine->plugPhone();
        ++m_done["first set-up"];
        return setUp();
    }
    if (isLate) {
        ++m_done["phone plugged in after the start"];
        expectView(waitingResult, "the phone is not there");
        m_clock.pass(someMinutes(1));
        expectView(waitingResult, "the phone is still not there");
        m_machine->plugPhone();
        m_clock.pass(PortInterval);
    }
    expectView(countingDownResult, "the phone is there");
    m_clock.pass(CountdownInterval * 101);
    expectView(connectedResult, "the countdown has ended");
    ++m_done["countdown"];
    press(*m_window, "disconnectButton");
    expectView(disconnectedResult, "disconnected by hand");
}

/// Through the wizard, which is open.
void Day::setUp()
{
    SettingsWizard *wizard = openWizard(*m_window);
    wizard->next();
    settle(*wizard);
    if (!wizard->button(QWizard::FinishButton)->isEnabled())
        qFatal("the set-up does not come to its end");
    wizard->button(QWizard::FinishButton)->click();
    trigger(*m_window, "action_Connect");
    // The window was shown by now for the first time, in its first view.
    if (viewOf(*m_window) != QLatin1String(connectedResult))
        qFatal("nothing is dialled after the set-up");
    press(*m_window, "disconnectButton");
}

void Day::close()
{
    m_window->close();
    m_window.reset();
    rest();
}

void Day::surf()
{
    connectByHand();
    m_clock.pass(someMinutes(5));
    expectView(connectedResult, "the connection lasts");
    press(*m_window, "disconnectButton");
}

void Day::loseNetwork()
{
    connectByHand();
    m_clock.pass(someMinutes(1));
    m_machine->dropConnection();
    waitUntilDisconnected();
}

void Day::pullWhileConnected()
{
    connectByHand();
    m_clock.pass(someMinutes(1));
    m_machine->pullPhone();
    waitUntilDisconnected();
    m_machine->plugPhone();
}

void Day::pullWhileDialling()
{
    m_machine->answerDial();
    m_isPulledInDial = true;
    press(*m_window, "connectButton");
    m_isPulledInDial = false;
    m_machine->plugPhone();
}

void Day::failToDial()
{
    m_machine->pullPhone();
    m_machine->answerDial();
    press(*m_window, "connectButton");
    expectView(disconnectedResult, "there is no phone");
    m_machine->plugPhone();
}

void Day::leaveWizard()
{
    trigger(*m_window, "actionCreate_New_Connection");
    expectView(wizardResult, "asked for");
    look();
    openWizard(*m_window)->button(QWizard::CancelButton)->click();
}

void Day::leaveSetUp()
{
    trigger(*m_window, "actionCreate_New_Connection");
    SettingsWizard *wizard = openWizard(*m_window);
    wizard->next();
    look();
    wizard->button(QWizard::CancelButton)->click();
    settle(*wizard);
}

void Day::setUpAgain()
{
    trigger(*m_window, "actionCreate_New_Connection");
    m_machine->answerDial();
    setUp();
}

void Day::readDialogs()
{
    for (const char *action : {"actionAbout", "actionCredits"}) {
        trigger(*m_window, action);
        look();
        for (QDialog *dialog : m_window->findChildren<QDialog *>()) {
            if (dialog->isVisible())
                dialog->close();
        }
    }
}

void Day::changeOperator()
{
    auto *operators = m_window->findChild<QComboBox *>("operatorComboBox");
    operators->setCurrentIndex((operators->currentIndex() + 1) % operators->count());
    connectByHand();
    press(*m_window, "disconnectButton");
}

void Day::connectByHand()
{
    m_machine->answerDial();
    press(*m_window, "connectButton");
    expectView(connectedResult, "connected by hand");
}

/// A real machine needs a moment of real time until it sees that a line is gone.
void Day::waitUntilDisconnected()
{
    const QDeadlineTimer patience(10000);
    do {
        m_clock.pass(StatusInterval);
        if (viewOf(*m_window) == QLatin1String(disconnectedResult))
            return;
        QThread::msleep(1);
    } while (!patience.hasExpired());
    qFatal("the window does not notice that the connection is gone");
}

void Day::expectView(const char *view, const char *when) const
{
    const QString seen = viewOf(*m_window);
    if (seen != QLatin1String(view))
        qFatal("%s: the person sees \"%s\", not \"%s\"", when, qPrintable(seen), view);
}

/// Nothing is connected, and nobody does anything.
void Day::rest()
{
    m_machine->forget();
    m_clock.pass(0);
    QCoreApplication::processEvents();
    if (m_clock.runningTimers() != 0)
        qFatal("%d timers run while nothing is to be done", m_clock.runningTimers());
}

int Day::someMinutes(int most)
{
    return Minute / 2 + static_cast<int>(m_random() % unsigned(most)) * Minute;
}

} // namespace soak
