#pragma once

#include "app/formfont.h"
#include "app/settings.h"
#include "mainwindow/mainwindow.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"
#include "wizard/settingswizard.h"
#include "wizard/setuppage.h"
#include "wizard/setupsteps.h"

#include <QAbstractButton>
#include <QLabel>
#include <QPushButton>
#include <QSemaphore>
#include <QSettings>
#include <QTest>
#include <QThreadPool>
#include <QTimer>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

// What the tests of the wizard share: its texts, and a machine whose steps a
// test can stop.

inline const char constructedText[] =
    "<html>Installing the drivers. It may take several minutes. Please "
    "wait till finish.</html>";
inline const char red[] = "color: red";

inline const char *const statusTexts[] = {
    "<html>Installing the Mobile Driver. It may take several minutes. Please wait till "
    "finish.</html>",
    "<html>Rescaning Devices...</html>",
    "<html>Checking for available ports...</html>",
    "<html>Setting up the modem for the port. It may take serveral minutes.Please wait till "
    "finish.</html>",
    "<html>Creating the dial-up connection...</html>",
    "<html>Setup Successfull. Press <b><i>Finish</i></b> and get connected to the Internet.</html>",
};

inline const char *const errorTexts[] = {
    "An error occured in INF setup. Please run the application as Administrator. For this, close "
    "the application, right click on the TolvaneDialler and click on Run as Administrator",
    "Rescan failed.",
    "No compatible mobile found. If mobile is connected, please disconnect and reconnect.",
    "An error occured in modem setup. Please retry.",
    "An error occured in creating Dial Up connection. Please retry.",
    "An unknown error occured.",
};

/// The operation by which each step is recognised and made to fail.
inline const char *const stepOperations[] = {"CreateProcessW", "CM_Locate_DevNode_ExA",
                                             "SetupDiGetClassDevsW", "SetupDiGetINFClassW",
                                             "RasSetEntryPropertiesW"};

/// What every test class of the wizard begins with: the forms' font, and settings of
/// its own that are empty for each case.
class WizardTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useFormFont();
        m_settings = std::make_unique<TestSettings>();
        // Room for the tasks whose results nobody waits for any more.
        QThreadPool::globalInstance()->setMaxThreadCount(4);
    }
    void init() { m_settings->clear(); }

private:
    std::unique_ptr<TestSettings> m_settings;
};

/// Calls a hook inside each step, so that a test can stop the worker there and
/// look at the page. The hook runs on the worker's thread and is given the
/// number of the step.
class GatedMachine : public ScriptedMachine
{
public:
    std::function<void(int)> insideStep;

    GatedMachine()
    {
        CreateProcessW.wrap([this](auto &next, auto... arguments) {
            enter(0);
            return next(arguments...);
        });
        // The modem step looks for the port as well, before anything else.
        SetupDiGetClassDevsW.wrap([this](auto &next, auto... arguments) {
            enter(2);
            return next(arguments...);
        });
        SetupDiGetINFClassW.wrap([this](auto &next, auto... arguments) {
            enter(3);
            return next(arguments...);
        });
        RasSetEntryPropertiesW.wrap([this](auto &next, auto... arguments) {
            enter(4);
            return next(arguments...);
        });
    }

private:
    void enter(int step)
    {
        if (insideStep)
            insideStep(step);
    }
};

/// Keeps the workers that reach a step waiting there. Destroying it is safe
/// only once they have left: see ~WizardBench().
struct Gate {
    QSemaphore entered;
    QSemaphore leave;
    std::atomic<int> visits{0};
    std::atomic<int> left{0};
};

/// Lets the GUI thread look at the page while a worker waits inside a step.
/// Uses the standard library's mutex, because the thread sanitizer does not
/// understand the toolkit's.
class Rendezvous
{
public:
    /// The worker's side: returns when the GUI thread has looked.
    void meet(int step)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_step < 0 || m_over; });
        m_step = step;
        m_changed.wait(lock, [this] { return m_step < 0 || m_over; });
    }

    /// The GUI thread's side: does nothing when no worker waits.
    void look(const std::function<void(int)> &at)
    {
        const std::lock_guard lock(m_mutex);
        if (m_step < 0)
            return;
        at(m_step);
        m_step = -1;
        m_changed.notify_all();
    }

    /// Nobody looks any more.
    void end()
    {
        const std::lock_guard lock(m_mutex);
        m_over = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_step = -1;
    bool m_over = false;
};

inline QLabel *statusLabel(const QWizardPage *page)
{
    return page->findChild<QLabel *>();
}

inline QPushButton *retryButton(const QWizardPage *page)
{
    return page->findChild<QPushButton *>();
}

/// What the set-up page shows.
struct PageView {
    QString text;
    QString styleSheet;
    bool retry;
    bool finish;

    bool operator==(const PageView &other) const
    {
        return text == other.text && styleSheet == other.styleSheet && retry == other.retry &&
               finish == other.finish;
    }
};

/// The machine on which a wizard runs, and the window that opens it.
class WizardBench : public Bench<GatedMachine>
{
public:
    WizardBench()
    {
        plugIn();
        machine.rasDevices = {{"modem", "MTK GPRS Modem"}};
    }

    /// Lets all workers go on, and waits for them.
    ~WizardBench()
    {
        gate.leave.release(100);
        rendezvous.end();
        window.reset();
        QThreadPool::globalInstance()->waitForDone();
    }

    void plugIn() { machine.ports = {{"USB Modem Driver (COM7)", true}}; }

    /// A first run: the window is hidden and has opened its wizard.
    void openWizard()
    {
        window = std::make_unique<MainWindow>();
        wizard = window->findChild<SettingsWizard *>();
        QVERIFY(wizard);
    }

    SetupPage *page() const { return qobject_cast<SetupPage *>(wizard->page(1)); }

    PageView look() const
    {
        return {statusLabel(page())->text(), statusLabel(page())->styleSheet(),
                !retryButton(page())->isHidden(),
                wizard->button(QWizard::FinishButton)->isEnabled()};
    }

    /// Notes what the page shows while each step runs. The worker waits for
    /// the GUI thread, which shows that the event loop runs meanwhile.
    void watchSteps(QList<PageView> *seen, QList<int> *steps = nullptr)
    {
        machine.insideStep = [this](int step) { rendezvous.meet(step); };
        auto *poll = new QTimer(window.get());
        QObject::connect(poll, &QTimer::timeout, poll, [this, seen, steps] {
            rendezvous.look([&](int step) {
                seen->append(look());
                if (steps)
                    steps->append(step);
            });
        });
        poll->start(0);
    }

    /// Stops the first workers that come to a step.
    void closeGate(int gatedStep, int workers = 1)
    {
        machine.insideStep = [this, gatedStep, workers](int step) {
            if (step != gatedStep || gate.visits.fetch_add(1) >= workers)
                return;
            gate.entered.release();
            gate.leave.acquire();
            ++gate.left;
        };
    }

    /// Lets a step fail from now on.
    void breakStep(int step)
    {
        if (step == 2)
            machine.ports.clear();
        else
            injector.inject({stepOperations[step], 1, platform::ErrorAccessDenied, true});
    }

    void mendStep()
    {
        QThreadPool::globalInstance()->waitForDone();
        injector.reset();
        machine.insideStep = nullptr;
        plugIn();
    }

    void checkFailed(int step) const
    {
        QCOMPARE(look(), (PageView{errorTexts[step], red, true, false}));
        QVERIFY(!page()->isComplete());
    }

    void checkDone() const
    {
        QCOMPARE(look(), (PageView{statusTexts[5], QString(), false, true}));
        QVERIFY(page()->isComplete());
    }

    Gate gate;
    Rendezvous rendezvous;
    std::unique_ptr<MainWindow> window;
    SettingsWizard *wizard = nullptr; ///< the window's
};
