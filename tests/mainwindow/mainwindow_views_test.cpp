#include "tests/mainwindow/mainwindowbench.h"

#include <QTest>

/// The table of the view states, row by row. How the window gets from one to
/// another stands in the other tests of this folder.
class MainWindowViewsTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void views_data()
    {
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("timers");
        QTest::newRow("counting down") << startView << QStringList("progress");
        QTest::newRow("waiting") << waitingView << QStringList("port");
        QTest::newRow("busy") << busyView << QStringList();
        QTest::newRow("connected") << connectedView << QStringList("status");
        QTest::newRow("disconnected") << disconnectedView << QStringList();
        QTest::newRow("counting down again") << countdownAgainView << QStringList("progress");
    }

    void views()
    {
        QFETCH(const QStringList, shown);
        QFETCH(const QStringList, timers);
        const QString state = QTest::currentDataTag();
        MainWindowBench bench;
        const auto window = bench.windowInState(state == "busy" ? "disconnected" : state);
        QStringList seen = view(*window);
        QStringList running = runningTimers(*window);
        if (state == "busy") {
            bench.answerDial();
            bench.machine.whileDialling = [&] {
                seen = view(*window);
                running = runningTimers(*window);
            };
            button(*window, "connectButton")->click();
        }
        QCOMPARE(seen, shown);
        QCOMPARE(running, timers);
    }
};

QTEST_MAIN(MainWindowViewsTest)
#include "mainwindow_views_test.moc"
