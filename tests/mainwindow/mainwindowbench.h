#pragma once

#include "app/formfont.h"
#include "app/settings.h"
#include "mainwindow/mainwindow.h"
#include "tests/support/bench.h"
#include "tests/support/testsettings.h"
#include "wizard/settingswizard.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>

#include <functional>
#include <memory>

// What the tests of the main window share: a machine to run it on, and what
// they look at and press in it.

inline constexpr int Port = 7;
inline const char portName[] = "USB Modem Driver (COM7)";
inline const char entry[] = "TolvaneModem 1";

// What the window offers in each row of its view-state table, in the order of
// the controls in view().
inline const QStringList startView{"menu_File", "action_Disconnect", "action_Connect",
                                   "connectButton", "autoConnectLabel"};
inline const QStringList waitingView{"pleaseWaitbutton", "portCheckButton"};
inline const QStringList busyView{"pleaseWaitbutton"};
inline const QStringList connectedView{"menu_File", "action_Disconnect", "disconnectButton"};
inline const QStringList disconnectedView{"menu_File", "action_Connect", "connectButton"};
inline const QStringList countdownAgainView{"menu_File", "action_Connect", "connectButton",
                                            "autoConnectLabel"};

/// What is enabled (the menu) or not hidden (everything else).
inline QStringList view(const MainWindow &window)
{
    QStringList offered;
    if (window.findChild<QMenu *>("menu_File")->isEnabled())
        offered.append("menu_File");
    for (const char *action : {"action_Disconnect", "action_Connect"}) {
        if (window.findChild<QAction *>(action)->isVisible())
            offered.append(action);
    }
    for (const char *control : {"connectButton", "disconnectButton", "pleaseWaitbutton",
                                "autoConnectLabel", "portCheckButton"}) {
        if (!window.findChild<QWidget *>(control)->isHidden())
            offered.append(control);
    }
    return offered;
}

/// The window's own timer with this interval in milliseconds.
inline QTimer *timer(const MainWindow &window, int interval)
{
    for (QTimer *candidate : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (candidate->interval() == interval)
            return candidate;
    }
    return nullptr;
}

inline QTimer *progressTimer(const MainWindow &window)
{
    return timer(window, 100);
}

inline QTimer *statusTimer(const MainWindow &window)
{
    return timer(window, 10000);
}

inline QTimer *portTimer(const MainWindow &window)
{
    return timer(window, 5000);
}

inline QStringList runningTimers(const MainWindow &window)
{
    QStringList running;
    if (progressTimer(window)->isActive())
        running.append("progress");
    if (statusTimer(window)->isActive())
        running.append("status");
    if (portTimer(window)->isActive())
        running.append("port");
    return running;
}

/// Lets a running timer time out at once.
inline void fire(QTimer *running)
{
    QVERIFY(running->isActive());
    QTimerEvent event(running->timerId());
    QCoreApplication::sendEvent(running, &event);
}

inline QPushButton *button(const MainWindow &window, const char *name)
{
    return window.findChild<QPushButton *>(name);
}

inline QAction *action(const MainWindow &window, const char *name)
{
    return window.findChild<QAction *>(name);
}

inline QString countdownText(const MainWindow &window)
{
    return window.findChild<QLabel *>("autoConnectLabel")->text();
}

inline QList<SettingsWizard *> wizards(const MainWindow &window)
{
    return window.findChildren<SettingsWizard *>();
}

/// The line that a query or a hang-up begins with.
inline QString askedFor(const QString &name)
{
    return "in isDialupConnectionConnected, connName:  " + quoted(name);
}

/// The window stays hidden and has opened its wizard.
inline void checkWizardStart(const MainWindow &window)
{
    QVERIFY(!window.isVisible());
    QCOMPARE(wizards(window).size(), 1);
    QVERIFY(wizards(window).first()->isVisible());
    QCOMPARE(wizards(window).first()->parentWidget(), &window);
    QCOMPARE(runningTimers(window), QStringList());
    QCOMPARE(view(window), startView);
}

/// What every test class of the main window begins with: the forms' font, and
/// settings of its own that are empty for each case.
class MainWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useFormFont();
        m_settings = std::make_unique<TestSettings>();
    }
    void init() { m_settings->clear(); }

private:
    std::unique_ptr<TestSettings> m_settings;
};

/// Lets a test look at the window while it blocks.
class WatchedMachine : public ScriptedMachine
{
public:
    std::function<void()> whileOpeningPort;
    std::function<void()> whileListingConnections;

    WatchedMachine()
    {
        CreateFileW.wrap([this](auto &next, auto... arguments) {
            if (whileOpeningPort)
                whileOpeningPort();
            return next(arguments...);
        });
        RasEnumConnectionsW.wrap([this](auto &next, auto... arguments) {
            if (whileListingConnections)
                whileListingConnections();
            return next(arguments...);
        });
    }
};

/// The machine on which a window is made, and what brings it and the settings
/// into a state.
class MainWindowBench : public Bench<WatchedMachine>
{
public:
    void setUpPort() { machine.ports = {{portName, true}}; }

    /// A machine that is set up, with the phone plugged in.
    void setUpEntry()
    {
        setUpPort();
        QSettings settings;
        settings.setValue(settingskeys::NoOfDialups, 1);
        settings.setValue(settingskeys::isINFSetupDone, true);
        settings.setValue(settingskeys::port(Port), entry);
    }

    /// A machine with the drivers and an entry, and no phone.
    void setUpWaiting()
    {
        QSettings settings;
        settings.setValue(settingskeys::NoOfDialups, 1);
        settings.setValue(settingskeys::isINFSetupDone, true);
    }

    /// A connection that this program did not make.
    void connectElsewhere(const QString &name = entry)
    {
        machine.connections = {
            {name, reinterpret_cast<platform::RasConnectionHandle>(platform::ULONG_PTR{0x4711})}};
    }

    /// The modem will answer the two commands of one dial.
    void answerDial() { machine.chunks = {"\r\nOK\r\n", "\r\nOK\r\n"}; }

    /// Lets a running countdown end; the modem answers.
    void countDown(MainWindow &window)
    {
        answerDial();
        for (int tick = 1; tick <= 101 && progressTimer(window)->isActive(); ++tick)
            fire(progressTimer(window));
        QVERIFY(!progressTimer(window)->isActive());
    }

    /// A window that is "counting down", "waiting", "connected", "disconnected"
    /// or "counting down again".
    std::unique_ptr<MainWindow> windowInState(const QString &state)
    {
        if (state == "waiting" || state == "counting down again")
            setUpWaiting();
        else
            setUpEntry();
        if (state == "connected" || state == "disconnected")
            connectElsewhere();
        auto window = std::make_unique<MainWindow>();
        if (state == "disconnected")
            button(*window, "disconnectButton")->click();
        if (state == "counting down again") {
            setUpEntry();
            fire(portTimer(*window));
        }
        return window;
    }
};
