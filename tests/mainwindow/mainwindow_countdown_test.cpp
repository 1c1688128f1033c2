#include "tests/mainwindow/mainwindowbench.h"
#include "tests/support/markingtranslator.h"

#include <QTest>

class MainWindowCountdownTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void firstCountdownTakes101Ticks()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QCOMPARE(bar->value(), -1);
        QCOMPARE(countdownText(window), QString("Auto connecting in 10 seconds"));
        for (int tick = 1; tick <= 100; ++tick) {
            fire(progressTimer(window));
            QCOMPARE(bar->value(), tick - 1);
            QCOMPARE(countdownText(window),
                     QString("Auto connecting in <b>%1</b> seconds").arg(10 - (tick - 1) / 10));
            QCOMPARE(bench.machine.dials.size(), 0);
        }
        bench.answerDial();
        QStringList seen;
        bench.machine.whileDialling = [&] { seen = view(window) + runningTimers(window); };
        fire(progressTimer(window));
        QCOMPARE(seen, busyView);
        QCOMPARE(bar->value(), 100);
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>0</b> seconds"));
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
    }

    void countdownRunsByItself()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QTRY_VERIFY(bar->value() >= 1);
    }

    /// The bar stays at its end, so the next countdown is over with its first
    /// tick.
    void secondCountdownDialsOnItsFirstTick()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.machine.dialSucceeds = false;
        bench.countDown(window);
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(view(window), disconnectedView);

        QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QCOMPARE(bar->value(), 100);
        bench.answerDial();
        fire(progressTimer(window));
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>0</b> seconds"));
        QCOMPARE(bench.machine.dials.size(), 2);
        QCOMPARE(bar->value(), 100);
    }

    void connectDuringTheCountdown()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        fire(progressTimer(window));
        bench.answerDial();
        action(window, "action_Connect")->trigger();
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        QCOMPARE(window.findChild<QProgressBar *>("connectionProgressBar")->value(), 0);
    }

    void languageChangeOverwritesTheCountdown()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        for (int tick = 1; tick <= 25; ++tick)
            fire(progressTimer(window));
        progressTimer(window)->stop();
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>8</b> seconds"));
        MarkingTranslator translator;
        QCoreApplication::installTranslator(&translator);
        QTRY_COMPARE(countdownText(window), QString("[MainWindow]Auto connecting in 10 seconds"));
        QCOMPARE(window.windowTitle(), QString("[MainWindow]Tolvane Modem Connector"));
        QCOMPARE(button(window, "portCheckButton")->text(),
                 QString("[MainWindow]Please Check\nMobile Connection"));
        progressTimer(window)->start();
        fire(progressTimer(window));
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>8</b> seconds"));
        QCoreApplication::removeTranslator(&translator);
        QTRY_COMPARE(window.windowTitle(), QString("Tolvane Modem Connector"));
    }
};

QTEST_MAIN(MainWindowCountdownTest)
#include "mainwindow_countdown_test.moc"
