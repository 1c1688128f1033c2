#include "dialogs/aboutdialog.h"
#include "tests/mainwindow/mainwindowbench.h"

#include <QComboBox>
#include <QKeyEvent>
#include <QTest>
#include <QWindow>

#include <memory>

class MainWindowKeysTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    /// The last event of a shortcut says that Ctrl is held.
    void cleanup()
    {
        QWindow window;
        QTest::keyRelease(&window, Qt::Key_Control, Qt::NoModifier);
        QCOMPARE(int(QGuiApplication::queryKeyboardModifiers()), 0);
    }

    void shortcuts_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<int>("key");
        QTest::addColumn<bool>("acts");
        const auto row = [](const char *state, bool connects, bool disconnects) {
            QTest::addRow("connect, %s", state) << state << int(Qt::Key_C) << connects;
            QTest::addRow("disconnect, %s", state) << state << int(Qt::Key_D) << disconnects;
        };
        row("counting down", true, true);
        row("waiting", false, false);
        row("connected", false, true);
        row("disconnected", true, false);
    }

    /// What the window does not show has no key either.
    void shortcuts()
    {
        QFETCH(QString, state);
        QFETCH(int, key);
        QFETCH(bool, acts);
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState(state);
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        progressTimer(*window)->stop();
        bench.log.clear();
        const auto dials = bench.machine.dials.size();
        bench.answerDial();
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), Qt::ControlModifier);
        QCOMPARE(!bench.log.lines().isEmpty(), acts);
        QCOMPARE(bench.machine.dials.size() - dials, acts && key == Qt::Key_C ? 1 : 0);
    }

    void shortcutsWhileBusy()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        bench.answerDial();
        int listed = 0;
        bench.machine.whileListingConnections = [&] { ++listed; };
        bench.machine.whileDialling = [&] {
            QTest::keyClick(&window, Qt::Key_C, Qt::ControlModifier);
            QTest::keyClick(&window, Qt::Key_D, Qt::ControlModifier);
        };
        button(window, "connectButton")->click();
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(listed, 0);
    }

    void heldShortcutActsOnce_data()
    {
        QTest::addColumn<QString>("state");
        QTest::addColumn<int>("key");
        QTest::newRow("connect") << "disconnected" << int(Qt::Key_C);
        QTest::newRow("disconnect") << "connected" << int(Qt::Key_D);
    }

    /// Where the port or the hang-up fails at once, the key that is still held
    /// down meets the same window again.
    void heldShortcutActsOnce()
    {
        QFETCH(QString, state);
        QFETCH(int, key);
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState(state);
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        constexpr bool Always = true;
        bench.injector.inject({"CreateFileW", 1, platform::ErrorAccessDenied, Always});
        bench.injector.inject({"RasHangUpW", 1, platform::RasErrorInvalidHandle, Always});
        const auto act = [&](bool again) {
            bench.log.clear();
            QKeyEvent event(QEvent::KeyPress, key, Qt::ControlModifier, QString(), again);
            QCoreApplication::sendEvent(window->windowHandle(), &event);
            return !bench.log.lines().isEmpty();
        };
        QTest::keyPress(window->windowHandle(), Qt::Key_Control, Qt::ControlModifier);
        QVERIFY(act(false));
        QCOMPARE(view(*window), state == "connected" ? connectedView : disconnectedView);
        QVERIFY(!act(true));
        QVERIFY(act(false));
        QVERIFY(!act(true));
        QTest::keyRelease(window->windowHandle(), Qt::Key_Control, Qt::NoModifier);
    }

    /// Who does not see a key's release takes its next press for a repetition.
    void shortcutReleasedElsewhereActsAgain()
    {
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState("disconnected");
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        bench.machine.dialSucceeds = false;
        bench.machine.whileDialling = [&] {
            QTest::keyRelease(window->windowHandle(), Qt::Key_Control, Qt::NoModifier);
        };
        for (const bool again : {false, true}) {
            bench.answerDial();
            QTest::keyPress(window->windowHandle(), Qt::Key_Control, Qt::ControlModifier);
            QKeyEvent event(QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier, QString(), again);
            QCoreApplication::sendEvent(window->windowHandle(), &event);
        }
        QCOMPARE(bench.machine.dials.size(), 2);
    }

    /// Ctrl+C connects also while the footer's link has the focus.
    void copyKeyConnectsFromTheFooter()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto *label = window.findChild<QLabel *>("label");
        label->setFocus(Qt::TabFocusReason);
        QVERIFY(label->hasFocus());
        bench.answerDial();
        QTest::keyClick(label, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(bench.machine.dials.size(), 1);
    }

    /// A key that is pressed twice must not undo what it did.
    void keyPressedTwice()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
        QTest::keyClick(&window, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), button(window, "connectButton"));
        bench.answerDial();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
        for (const Qt::Key key : {Qt::Key_Enter, Qt::Key_Return})
            QTest::keyClick(QApplication::focusWidget(), key);
        QCOMPARE(view(window), connectedView);

        QTest::keyClick(&window, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), button(window, "disconnectButton"));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
    }

    /// With File disabled, Help is the only menu left.
    void helpByKeyWhileWaiting()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QWidget *focus = QApplication::focusWidget();
        QTest::keyPress(focus, Qt::Key_Alt, Qt::AltModifier);
        QTest::keyRelease(focus, Qt::Key_Alt);
        for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Down})
            QTest::keyClick(QApplication::focusWidget(), key);
        auto *help = window.findChild<QMenu *>("menuHelp");
        QTRY_VERIFY(help->isVisible());
        for (int stop = 0; stop < 3 && help->activeAction() != action(window, "actionAbout");
             ++stop)
            QTest::keyClick(help, Qt::Key_Down);
        QTest::keyClick(help, Qt::Key_Enter);
        QCOMPARE(window.findChildren<AboutDialog *>().size(), 1);
    }

    void portCheckByKey()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        // One stop from the list: Please Wait lies invisible behind this button.
        QVERIFY(window.findChild<QComboBox *>()->hasFocus());
        QTest::keyClick(&window, Qt::Key_Tab);
        QVERIFY(button(window, "portCheckButton")->hasFocus());
        QSettings().setValue(settingskeys::port(Port), entry);
        bench.setUpPort();
        QTest::keyClick(button(window, "portCheckButton"), Qt::Key_Space);
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
    }
};

QTEST_MAIN(MainWindowKeysTest)
#include "mainwindow_keys_test.moc"
