#include "tests/mainwindow/mainwindowbench.h"

#include <QTest>

namespace {

void lookForThePort(MainWindow &window, bool byButton)
{
    if (byButton)
        QTest::mouseClick(button(window, "portCheckButton"), Qt::LeftButton);
    else
        fire(portTimer(window));
}

} // namespace

class MainWindowPollsTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void statusPollFindsTheConnectionGone()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        fire(statusTimer(window));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        bench.machine.connections.clear();
        fire(statusTimer(window));
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        // No automatic retry; the next dial starts the poll anew.
        bench.answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(runningTimers(window), QStringList("status"));
    }

    /// The poll's period goes on when a failed hang-up brings the window back.
    void runningStatusTimerIsNotStartedAnew()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        const int id = statusTimer(window)->timerId();
        bench.fail("RasHangUpW", platform::RasErrorInvalidHandle);
        button(window, "disconnectButton")->click();
        QCOMPARE(statusTimer(window)->timerId(), id);
    }

    void portPollFindsNothing()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        bench.log.clear();
        fire(portTimer(window));
        QCOMPARE(bench.log.lines().first(), QString("Checking port availability \n"));
        QCOMPARE(view(window), waitingView);
        QCOMPARE(runningTimers(window), QStringList("port"));
        button(window, "portCheckButton")->click();
        QCOMPARE(view(window), waitingView);
        QCOMPARE(runningTimers(window), QStringList("port"));
    }

    void portAppears_data()
    {
        QTest::addColumn<bool>("byButton");
        QTest::newRow("timer") << false;
        QTest::newRow("button") << true;
    }

    void portAppears()
    {
        QFETCH(bool, byButton);
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), entry);
        bench.setUpPort();
        lookForThePort(window, byButton);
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        QVERIFY(window.isVisible());
        bench.countDown(window);
        QCOMPARE(view(window), connectedView);
    }

    void portWithoutEntryAppears_data() { portAppears_data(); }
    void portWithoutEntryAppears()
    {
        QFETCH(bool, byButton);
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), "");
        bench.setUpPort();
        lookForThePort(window, byButton);
        // Disconnected does not touch the label, which waiting had hidden.
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        QVERIFY(!window.isVisible());
        QCOMPARE(wizards(window).size(), 1);
        QVERIFY(wizards(window).first()->isVisible());
    }

    /// Disconnected leaves the countdown's label as it was: here it shows.
    void disconnectedKeepsTheLabel()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), "");
        QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList());
        QCOMPARE(wizards(window).size(), 1);
    }

    /// Finding the port forgets a connection: the poll stops.
    void portCheckWhileConnected()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        bench.log.clear();
        QVERIFY(QMetaObject::invokeMethod(&window, "StopDialling"));
        QCOMPARE(bench.log.lines().first(), askedFor(""));
    }
};

QTEST_MAIN(MainWindowPollsTest)
#include "mainwindow_polls_test.moc"
