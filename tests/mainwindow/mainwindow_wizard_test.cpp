#include "dialogs/aboutdialog.h"
#include "dialogs/creditdialog.h"
#include "tests/mainwindow/mainwindowbench.h"

#include <QTest>
#include <QWindow>

#include <functional>

#include <memory>

namespace {

/// Tells of a wizard's window when the window system is about to show it.
class OwnerWatcher : public QObject
{
public:
    explicit OwnerWatcher(std::function<void(const QWindow *)> tell) : m_tell(std::move(tell)) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const auto *window = qobject_cast<QWindow *>(watched);
        if (window && window->title().startsWith("Welcome") && event->type() == QEvent::Show)
            m_tell(window);
        return false;
    }

private:
    std::function<void(const QWindow *)> m_tell;
};

} // namespace

class MainWindowWizardTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void wizardFromEveryState_data()
    {
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("timersBefore");
        QTest::addColumn<QStringList>("timersAfter");
        QTest::newRow("counting down") << startView << QStringList("progress") << QStringList();
        QTest::newRow("waiting") << waitingView << QStringList("port") << QStringList("port");
        QTest::newRow("connected")
            << connectedView << QStringList("status") << QStringList("status");
        QTest::newRow("disconnected") << disconnectedView << QStringList() << QStringList();
        QTest::newRow("counting down again")
            << countdownAgainView << QStringList("progress") << QStringList();
    }

    void wizardFromEveryState()
    {
        QFETCH(QStringList, shown);
        QFETCH(QStringList, timersBefore);
        QFETCH(QStringList, timersAfter);
        MainWindowBench bench;
        const std::unique_ptr<MainWindow> window = bench.windowInState(QTest::currentDataTag());
        QVERIFY(window->isVisible());
        QCOMPARE(view(*window), shown);
        QCOMPARE(runningTimers(*window), timersBefore);

        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        QTest::keyClick(window.get(), Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(wizards(*window).size(), 1);
        SettingsWizard *wizard = wizards(*window).first();
        QVERIFY(wizard->isVisible());
        QVERIFY(!wizard->isModal());
        QVERIFY(!window->isVisible());
        QCOMPARE(runningTimers(*window), timersAfter);

        wizard->reject();
        QVERIFY(window->isVisible());
        QCOMPARE(view(*window), shown);
        QCOMPARE(runningTimers(*window), timersAfter);

        // The next one is another wizard; the first stays alive.
        QVERIFY(QMetaObject::invokeMethod(window.get(), "ShowCreateNewConnectionWizard"));
        QCOMPARE(wizards(*window).size(), 2);
        QVERIFY(!wizard->isVisible());
    }

    /// The dial dialog lets the window's events through. A set-up would install
    /// the modem that is being dialled.
    void noWizardWhileBusy()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        bench.answerDial();
        bench.machine.whileDialling = [&] {
            QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
        };
        button(window, "connectButton")->click();
        QCOMPARE(wizards(window).size(), 0);
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), connectedView);
    }

    void portAppearsBehindTheWizard_data()
    {
        QTest::addColumn<bool>("known");
        QTest::newRow("known port") << true;
        QTest::newRow("new port") << false;
    }

    /// Behind the wizard the port poll looks at nothing: it would open a second
    /// wizard over the first, or dial while the first installs the modem.
    void portAppearsBehindTheWizard()
    {
        QFETCH(bool, known);
        MainWindowBench bench;
        bench.setUpWaiting();
        if (known)
            QSettings().setValue(settingskeys::port(Port), entry);
        MainWindow window;
        action(window, "actionCreate_New_Connection")->trigger();
        bench.setUpPort();
        bench.log.clear();
        const QStringList operations = bench.injector.operations();
        fire(portTimer(window));
        QCOMPARE(bench.injector.operations(), operations);
        QCOMPARE(bench.log.lines(), QStringList());
        QCOMPARE(wizards(window).size(), 1);
        QVERIFY(!window.isVisible());
        QCOMPARE(view(window), waitingView);
        QCOMPARE(runningTimers(window), QStringList("port"));

        // Afterwards it goes on.
        wizards(window).first()->reject();
        QVERIFY(window.isVisible());
        fire(portTimer(window));
        QCOMPARE(runningTimers(window), known ? QStringList("progress") : QStringList());
        QCOMPARE(wizards(window).size(), known ? 1 : 2);
        QCOMPARE(window.isVisible(), known);
    }

    void wizardIsAWindowOfItsOwn_data()
    {
        QTest::addColumn<bool>("firstRun");
        QTest::newRow("first run") << true;
        QTest::newRow("later") << false;
    }

    /// A window that belongs to a hidden one cannot be found again once it is
    /// covered. Nothing takes this back once the window shows.
    void wizardIsAWindowOfItsOwn()
    {
        QFETCH(bool, firstRun);
        MainWindowBench bench;
        if (!firstRun)
            bench.setUpEntry();
        MainWindow window;
        QList<bool> owned;
        OwnerWatcher watcher([&](const QWindow *shown) { owned.append(shown->transientParent()); });
        qApp->installEventFilter(&watcher);
        action(window, "actionCreate_New_Connection")->trigger();
        QCOMPARE(owned, QList<bool>{false});
        QVERIFY(!wizards(window).last()->windowHandle()->transientParent());
    }

    void connectionLostBehindTheWizard()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        action(window, "actionCreate_New_Connection")->trigger();
        bench.machine.connections.clear();
        fire(statusTimer(window));
        QVERIFY(!window.isVisible());
        wizards(window).first()->reject();
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
    }

    /// The window comes back as the constructor left it and does not dial by
    /// itself.
    void windowAfterTheFirstRun()
    {
        MainWindowBench bench;
        bench.setUpPort();
        MainWindow window;
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        QSettings().setValue(settingskeys::port(Port), entry);
        wizards(window).first()->accept();
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), startView);
        QCOMPARE(countdownText(window), QString("Auto connecting in 10 seconds"));
        QCOMPARE(runningTimers(window), QStringList());
        bench.answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(view(window), connectedView);
    }

    void cancelledFirstRunLeavesNoWindow()
    {
        MainWindowBench bench;
        MainWindow window;
        wizards(window).first()->reject();
        QVERIFY(!window.isVisible());
        QVERIFY(!wizards(window).first()->isVisible());
    }

    void cancelledFirstRunEndsTheProgram()
    {
        MainWindowBench bench;
        MainWindow window;
        QTimer::singleShot(0, &window, [&] { wizards(window).first()->close(); });
        QTimer::singleShot(10000, &window, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
    }

    /// A dialog that was left open may be closed while the wizard works.
    void dialogClosedBesideTheWizardEndsNothing()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bool alive = false;
        QTimer::singleShot(0, &window, [&] {
            action(window, "actionAbout")->trigger();
            action(window, "actionCredits")->trigger();
            action(window, "actionCreate_New_Connection")->trigger();
            window.findChild<AboutDialog *>()->close();
            window.findChild<CreditDialog *>()->close();
            // Anything that was to end the program has its turn before.
            QTimer::singleShot(200, &window, [&] {
                alive = wizards(window).first()->isVisible();
                QCoreApplication::exit(2);
            });
        });
        QTimer::singleShot(10000, &window, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 2);
        QVERIFY(alive);
    }

    void windowThatComesBackKeepsTheProgramRunning()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bool alive = false;
        QTimer::singleShot(0, &window, [&] {
            QVERIFY(QMetaObject::invokeMethod(&window, "ShowCreateNewConnectionWizard"));
            QTimer::singleShot(0, &window, [&] {
                wizards(window).first()->close();
                // Anything that was to end the program has its turn before.
                QTimer::singleShot(200, &window, [&] {
                    alive = window.isVisible();
                    action(window, "actionExit")->trigger();
                });
            });
        });
        QTimer::singleShot(10000, &window, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
        QVERIFY(alive);
        QVERIFY(!window.isVisible());
    }

    // The dialogs, which are opened in the same way.

    void dialogs()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        for (int count = 1; count <= 2; ++count) {
            action(window, "actionAbout")->trigger();
            action(window, "actionCredits")->trigger();
            QCOMPARE(window.findChildren<AboutDialog *>().size(), count);
            QCOMPARE(window.findChildren<CreditDialog *>().size(), count);
            for (QDialog *dialog : window.findChildren<QDialog *>()) {
                QCOMPARE(dialog->parent(), &window);
                QVERIFY(!dialog->isModal());
            }
            QVERIFY(window.findChildren<AboutDialog *>().last()->isVisible());
            QVERIFY(window.findChildren<CreditDialog *>().last()->isVisible());
            for (QDialog *dialog : window.findChildren<QDialog *>())
                dialog->close();
        }
    }
};

QTEST_MAIN(MainWindowWizardTest)
#include "mainwindow_wizard_test.moc"
