#include "tests/mainwindow/mainwindowbench.h"

#include <QDir>
#include <QMetaMethod>
#include <QScreen>
#include <QTemporaryDir>
#include <QTest>

namespace {

void checkFirstCountdown(const MainWindow &window)
{
    QVERIFY(window.isVisible());
    QVERIFY(wizards(window).isEmpty());
    QCOMPARE(view(window), startView);
    QCOMPARE(runningTimers(window), QStringList("progress"));
}

} // namespace

class MainWindowStartTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    void slotsAndTimers()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        const QMetaObject *meta = window.metaObject();
        QStringList own;
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
            QCOMPARE(meta->method(i).methodType(), QMetaMethod::Slot);
            QCOMPARE(meta->method(i).returnType(), int(QMetaType::Void));
            own.append(meta->method(i).methodSignature());
        }
        QCOMPARE(own, QStringList({"ShowCreateNewConnectionWizard()", "StartDialling()",
                                   "StopDialling()", "UpdateProgressBar()",
                                   "CheckDialupConnectionStatus()", "CheckPortAvailability()",
                                   "ShowCreditDialog()", "ShowAboutDialog()"}));
        QList<int> intervals;
        for (const QTimer *child :
             window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
            QVERIFY(!child->isSingleShot());
            intervals.append(child->interval());
        }
        QCOMPARE(intervals, QList<int>({100, 10000, 5000}));
        QVERIFY(!window.parent());
    }

    void firstRunOpensTheWizard()
    {
        MainWindowBench bench;
        bench.setUpPort();
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        MainWindow window;
        checkWizardStart(window);
        // In the middle of the screen, give or take a frame.
        const QPoint offCentre = wizards(window).first()->geometry().center() -
                                 window.screen()->availableGeometry().center();
        QVERIFY(offCentre.manhattanLength() < 60);
        // Nothing was asked of the machine.
        QCOMPARE(bench.injector.operations(), QStringList());
        QCOMPARE(bench.log.lines(), QStringList());
    }

    void portWithoutEntryOpensTheWizard()
    {
        MainWindowBench bench;
        bench.setUpPort();
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        MainWindow window;
        checkWizardStart(window);
        QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), Port);
        QCOMPARE(bench.log.lines().last(), QString("connection name in reg:  \"\""));
    }

    void noPortAndNoDriversOpensTheWizard()
    {
        MainWindowBench bench;
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        MainWindow window;
        checkWizardStart(window);
        QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), 0);
    }

    void noPortWithDriversWaits()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), waitingView);
        QCOMPARE(runningTimers(window), QStringList("port"));
        QVERIFY(wizards(window).isEmpty());
    }

    void connectionAlreadyUp()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        QVERIFY(bench.log.lines().contains("connection name in reg:  \"TolvaneModem 1\""));
        // It is this connection that is watched and hung up.
        bench.log.clear();
        fire(statusTimer(window));
        QCOMPARE(bench.log.lines().first(), askedFor(entry));
        QCOMPARE(view(window), connectedView);
        button(window, "disconnectButton")->click();
        QCOMPARE(bench.machine.hungUp.size(), 1);
    }

    void anotherConnectionUpCountsDown()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere("tolvanemodem 1");
        MainWindow window;
        checkFirstCountdown(window);
    }

    void noConnectionCountsDown()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        checkFirstCountdown(window);
    }

    void unreadableEntryCountIsNoFirstRun()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        QSettings().setValue(settingskeys::NoOfDialups, "many");
        MainWindow window;
        checkFirstCountdown(window);
    }

    // The icon.

    void iconIsFoundFromAnywhere()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        const QString before = QDir::currentPath();
        QTemporaryDir dir;
        QDir::setCurrent(dir.path());
        QApplication::setWindowIcon(QIcon(":/48x48.ico"));
        {
            MainWindow window;
            QCOMPARE(window.windowIcon().cacheKey(), QApplication::windowIcon().cacheKey());
            QCOMPARE(window.windowIcon().availableSizes().size(), 4);
        }
        // A file in the working directory goes before.
        QVERIFY(QFile::copy(":/48x48.ico", dir.filePath("48x48.ico")));
        {
            MainWindow window;
            QVERIFY(window.windowIcon().cacheKey() != QApplication::windowIcon().cacheKey());
            QCOMPARE(window.windowIcon().availableSizes().size(), 4);
        }
        QApplication::setWindowIcon(QIcon());
        QDir::setCurrent(before);
    }
};

QTEST_MAIN(MainWindowStartTest)
#include "mainwindow_start_test.moc"
