// What an impatient person does before and while the window is blocked by a
// dial or a hang-up.

#include "tests/mainwindow/mainwindowbench.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenuBar>
#include <QMouseEvent>
#include <QShortcut>
#include <QSignalSpy>
#include <QTest>

#include <memory>

namespace {

/// Queues a key as the display would deliver it.
void postKey(MainWindow &window, Qt::Key key)
{
    for (const QEvent::Type type : {QEvent::KeyPress, QEvent::KeyRelease})
        QCoreApplication::postEvent(window.windowHandle(),
                                    new QKeyEvent(type, key, Qt::NoModifier));
}

/// Queues a click as the display would deliver it.
void postClick(MainWindow &window, const QPoint &place)
{
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        const auto held = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
        QCoreApplication::postEvent(window.windowHandle(),
                                    new QMouseEvent(type, place, window.mapToGlobal(place),
                                                    Qt::LeftButton, held, Qt::NoModifier));
    }
}

/// Queues the time-out of a running timer.
void postTimeout(QTimer *running)
{
    QVERIFY(running->isActive());
    QCoreApplication::postEvent(running, new QTimerEvent(running->timerId()));
}

/// On the place that the four buttons share.
const QPoint buttonPlace(290, 140);

QComboBox *operators(const MainWindow &window)
{
    return window.findChild<QComboBox *>("operatorComboBox");
}

} // namespace

class MainWindowBlockedTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void popupIsClosedBeforeTheBlock_data()
    {
        QTest::addColumn<QString>("popup");
        for (const char *popup : {"operators", "menu_File", "menuHelp"})
            QTest::newRow(popup) << QString(popup);
    }

    /// An open list or menu keeps mouse and keyboard from every other program,
    /// and the block may have no end.
    void popupIsClosedBeforeTheBlock()
    {
        QFETCH(QString, popup);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        if (popup == "operators") {
            operators(window)->showPopup();
        } else {
            auto *menu = window.findChild<QMenu *>(popup);
            menu->popup(window.mapToGlobal(QPoint(20, 20)));
        }
        QVERIFY(QApplication::activePopupWidget());
        bool looked = false;
        QWidget *open = nullptr;
        bench.machine.whileOpeningPort = [&] {
            looked = true;
            open = QApplication::activePopupWidget();
        };
        bench.countDown(window);
        QVERIFY(looked);
        QVERIFY(!open);
        QCOMPARE(operators(window)->currentText(), QString("Banglalink"));
        QCOMPARE(view(window), connectedView);
    }

    /// It must not keep the program from dialling.
    void popupThatDoesNotClose()
    {
        struct StubbornMenu : QMenu {
            void closeEvent(QCloseEvent *event) override { event->ignore(); }
        };
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        StubbornMenu menu;
        menu.popup(window.mapToGlobal(QPoint(20, 20)));
        QCOMPARE(QApplication::activePopupWidget(), &menu);
        bench.countDown(window);
        QCOMPARE(view(window), connectedView);
    }

    /// A poll that was due during the hang-up comes after the new view state:
    /// otherwise the window would offer to end a connection that is gone.
    void statusPollWaitsForTheHangUp()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        bench.machine.RasHangUpW.wrap([&](auto &, auto...) {
            bench.machine.connections.clear();
            postTimeout(statusTimer(window));
            return platform::RasErrorInvalidHandle;
        });
        QTimer *poll = statusTimer(window);
        const int id = poll->timerId();
        button(window, "disconnectButton")->click();
        QCOMPARE(view(window), connectedView);
        QCOMPARE(poll->timerId(), id);
        QCoreApplication::processEvents();
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
    }

    /// What the hang-up made pointless does not come at all.
    void statusPollIsOverWithTheConnection()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        bool due = false;
        bench.machine.whileListingConnections = [&] {
            if (!due)
                postTimeout(statusTimer(window));
            due = true;
        };
        bench.log.clear();
        button(window, "disconnectButton")->click();
        QCoreApplication::processEvents();
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(bench.log.lines().filter("in isDialupConnectionConnected").size(), 1);
    }

    /// A system whose dial dialog lets the window's timers through.
    void pollsWaitForTheDial()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), entry);
        bench.setUpPort();
        bench.answerDial();
        QStringList seen;
        bench.machine.whileDialling = [&] {
            postTimeout(portTimer(window));
            QCoreApplication::processEvents();
            seen = view(window) + runningTimers(window);
        };
        QVERIFY(QMetaObject::invokeMethod(&window, "StartDialling"));
        QCOMPARE(seen, busyView + QStringList("port"));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList({"status", "port"}));
        QCoreApplication::processEvents();
        QVERIFY(!portTimer(window)->isActive());
    }

    void doubleClickCountsOnce_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("pressed");
        QTest::addColumn<int>("hangUps");
        QTest::addColumn<int>("dials");
        QTest::newRow("connect") << "counting down"
                                 << "connectButton" << 0 << 1;
        QTest::newRow("disconnect") << "connected"
                                    << "disconnectButton" << 1 << 0;
        QTest::newRow("port check") << "port found"
                                    << "portCheckButton" << 0 << 0;
    }

    /// Three presses in a row, each within the time of a double click. The
    /// second and third reach the button that has taken the first one's place.
    void doubleClickCountsOnce()
    {
        QFETCH(QString, state);
        QFETCH(QString, pressed);
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window =
            bench.windowInState(state == "port found" ? "waiting" : state);
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        if (state == "port found")
            bench.setUpEntry();
        bench.answerDial();
        QVERIFY(button(*window, pressed.toUtf8())->isVisible());
        ulong time = 100000;
        for (int click = 0; click < 3; ++click) {
            for (const QEvent::Type type :
                 {click == 1 ? QEvent::MouseButtonDblClick : QEvent::MouseButtonPress,
                  QEvent::MouseButtonRelease}) {
                const auto held =
                    type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
                QMouseEvent event(type, buttonPlace, window->mapToGlobal(buttonPlace),
                                  Qt::LeftButton, held, Qt::NoModifier);
                event.setTimestamp(time += 60);
                QCoreApplication::sendEvent(window->windowHandle(), &event);
            }
        }
        QTEST(int(bench.machine.hungUp.size()), "hangUps");
        QTEST(int(bench.machine.dials.size()), "dials");
    }

    /// Its first half went to another window that has closed since.
    void halfADoubleClickIsNoPress()
    {
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState("disconnected");
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        bench.answerDial();
        QPushButton *connectButton = button(*window, "connectButton");
        for (const QEvent::Type type : {QEvent::MouseButtonDblClick, QEvent::MouseButtonRelease}) {
            const QPoint place = connectButton->rect().center();
            QMouseEvent event(type, place, connectButton->mapToGlobal(place), Qt::LeftButton,
                              Qt::NoButton, Qt::NoModifier);
            event.setTimestamp(100000);
            QCoreApplication::sendEvent(connectButton, &event);
        }
        QVERIFY(bench.machine.dials.isEmpty());
    }

    /// Two clicks that are no double click are two.
    void slowClicksCountEach()
    {
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState("connected");
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        bench.answerDial();
        // The test library leaves the time of a double click between its clicks.
        QTest::mouseClick(button(*window, "disconnectButton"), Qt::LeftButton);
        QTest::mouseClick(button(*window, "connectButton"), Qt::LeftButton);
        QCOMPARE(bench.machine.hungUp.size(), 1);
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(view(*window), connectedView);
    }

    void keysWhileBlockedDoNothing_data()
    {
        QTest::addColumn<QList<int>>("keys");
        QTest::newRow("Down") << QList<int>{Qt::Key_Down};
        QTest::newRow("Down, Down") << QList<int>{Qt::Key_Down, Qt::Key_Down};
        QTest::newRow("a letter") << QList<int>{Qt::Key_G};
        QTest::newRow("Space") << QList<int>{Qt::Key_Space};
        QTest::newRow("Tab, Space") << QList<int>{Qt::Key_Tab, Qt::Key_Space};
        QTest::newRow("F4") << QList<int>{Qt::Key_F4};
    }

    /// The operator that was dialled stays chosen, and nothing opens.
    void keysWhileBlockedDoNothing()
    {
        QFETCH(QList<int>, keys);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        operators(window)->setCurrentText("Banglalink");
        bench.answerDial();
        QWidget *focus = nullptr;
        bench.machine.whileOpeningPort = [&] {
            focus = QApplication::focusWidget();
            for (const int key : keys)
                postKey(window, static_cast<Qt::Key>(key));
        };
        action(window, "action_Connect")->trigger();
        QCOMPARE(focus, button(window, "pleaseWaitbutton"));
        QCoreApplication::processEvents();
        QCOMPARE(view(window), connectedView);
        QCOMPARE(operators(window)->currentText(), QString("Banglalink"));
        QVERIFY(!QApplication::activePopupWidget());
        QCOMPARE(QApplication::focusWidget(), operators(window));
        QCOMPARE(bench.machine.hungUp.size(), 0);
        // The next key is the list's again.
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
        QCOMPARE(operators(window)->currentText(), QString("GrameenPhone"));
    }

    /// Another window, such as a dial dialog, hears its keys as ever: what its
    /// field wants to have is not a shortcut.
    void otherWindowsKeepTheirKeys()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        QWidget other;
        QLineEdit field("a text", &other);
        const QShortcut selectAll(QKeySequence::SelectAll, &other);
        QSignalSpy shortcuts(&selectAll, &QShortcut::activated);
        bench.machine.whileDialling = [&] {
            other.show();
            QVERIFY(QTest::qWaitForWindowActive(&other));
            QTest::keySequence(&field, QKeySequence::SelectAll);
        };
        button(window, "connectButton")->click();
        QCOMPARE(field.selectedText(), QString("a text"));
        QCOMPARE(shortcuts.size(), 0);
    }

    void otherWindowsKeepTheirClicks()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        QPushButton other;
        const QSignalSpy clicks(&other, &QPushButton::clicked);
        bench.machine.whileDialling = [&] {
            other.show();
            QTest::mouseClick(&other, Qt::LeftButton);
        };
        button(window, "connectButton")->click();
        QCOMPARE(clicks.size(), 1);
    }

    void otherTimersGoOn()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        QTimer other;
        const QSignalSpy timeouts(&other, &QTimer::timeout);
        bench.machine.whileDialling = [&] {
            other.start(0);
            QTRY_VERIFY(!timeouts.isEmpty());
        };
        button(window, "connectButton")->click();
        // It is always due, and keeps nobody.
        QVERIFY(other.isActive());
        QCOMPARE(view(window), connectedView);
    }

    void clicksWhileBlockedOpenNothing_data()
    {
        QTest::addColumn<bool>("onHelp");
        QTest::newRow("operators") << false;
        QTest::newRow("Help") << true;
    }

    void clicksWhileBlockedOpenNothing()
    {
        QFETCH(bool, onHelp);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        bench.answerDial();
        const QMenuBar *bar = window.menuBar();
        QAction *help = window.findChild<QMenu *>("menuHelp")->menuAction();
        const QPoint place = onHelp ? bar->mapTo(&window, bar->actionGeometry(help).center())
                                    : operators(window)->mapTo(&window, QPoint(100, 11));
        bench.machine.whileOpeningPort = [&] { postClick(window, place); };
        button(window, "connectButton")->click();
        QCoreApplication::processEvents();
        QVERIFY(!QApplication::activePopupWidget());
        QCOMPARE(view(window), connectedView);
    }

    /// What one round of event processing only collects, a later one delivers.
    void inputThatComesInRoundsIsTaken()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QObject courier;
        bench.machine.RasHangUpW.wrap([&](auto &next, auto... arguments) {
            QMetaObject::invokeMethod(
                &courier,
                [&] {
                    QMetaObject::invokeMethod(
                        &courier, [&] { postClick(window, buttonPlace); }, Qt::QueuedConnection);
                },
                Qt::QueuedConnection);
            return next(arguments...);
        });
        bench.answerDial();
        button(window, "disconnectButton")->click();
        QCoreApplication::processEvents();
        QCoreApplication::processEvents();
        QCOMPARE(bench.machine.dials.size(), 0);
        QCOMPARE(view(window), disconnectedView);
    }

    void closedWhileDialling_data()
    {
        QTest::addColumn<bool>("dialSucceeds");
        QTest::newRow("connected") << true;
        QTest::newRow("refused") << false;
    }

    /// Nothing may stay connected with no window to hang up by.
    void closedWhileDialling()
    {
        QFETCH(bool, dialSucceeds);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        bench.answerDial();
        bench.machine.dialSucceeds = dialSucceeds;
        bool stayed = false;
        bench.machine.whileDialling = [&] {
            window.close();
            stayed = window.isVisible();
        };
        button(window, "connectButton")->click();
        QVERIFY(stayed);
        QCOMPARE(window.isVisible(), dialSucceeds);
        QCOMPARE(view(window), dialSucceeds ? connectedView : disconnectedView);
        if (!dialSucceeds)
            return;
        // It was an answer to that one wish only.
        button(window, "disconnectButton")->click();
        QVERIFY(window.isVisible());
        QVERIFY(window.close());
        QVERIFY(!window.isVisible());
    }

    void closedWhileHangingUp_data()
    {
        QTest::addColumn<bool>("hangUpSucceeds");
        QTest::newRow("hung up") << true;
        QTest::newRow("refused") << false;
    }

    /// As the display delivers it: after the call, with what else came meanwhile.
    void closedWhileHangingUp()
    {
        QFETCH(bool, hangUpSucceeds);
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        if (!hangUpSucceeds)
            bench.fail("RasHangUpW", platform::RasErrorInvalidHandle);
        bench.machine.whileListingConnections = [&] {
            QMetaObject::invokeMethod(
                &window, [&] { window.close(); }, Qt::QueuedConnection);
        };
        button(window, "disconnectButton")->click();
        bench.machine.whileListingConnections = nullptr;
        QCoreApplication::processEvents();
        QCOMPARE(window.isVisible(), !hangUpSucceeds);
        QCOMPARE(view(window), hangUpSucceeds ? disconnectedView : connectedView);
    }

    /// The program ends with the window that was closed during the dial.
    void closedWhileDiallingEndsTheProgram()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        bench.machine.dialSucceeds = false;
        bench.machine.whileDialling = [&] { window.close(); };
        QTimer::singleShot(0, &window, [&] { button(window, "connectButton")->click(); });
        QTimer::singleShot(10000, &window, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
        QVERIFY(!window.isVisible());
    }
};

QTEST_MAIN(MainWindowBlockedTest)
#include "mainwindow_blocked_test.moc"
