#include "tests/mainwindow/mainwindowbench.h"

#include <QComboBox>
#include <QFile>
#include <QMouseEvent>
#include <QTest>

namespace {

class PaintCounter : public QObject
{
public:
    using QObject::QObject;
    int paints = 0;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

/// Queues a click as the display would deliver it.
void postClick(MainWindow &window, const char *name)
{
    const QPoint place = button(window, name)->mapTo(&window, QPoint(40, 40));
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        const auto held = type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton;
        QCoreApplication::postEvent(window.windowHandle(),
                                    new QMouseEvent(type, place, window.mapToGlobal(place),
                                                    Qt::LeftButton, held, Qt::NoModifier));
    }
}

} // namespace

class MainWindowDiallingTest : public MainWindowTest
{
    Q_OBJECT

private slots:
    // Dialling.

    void dialling()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        window.findChild<QComboBox *>("operatorComboBox")->setCurrentText("GrameenPhone");
        bench.answerDial();
        QStringList seen;
        QString stored;
        bench.machine.whileDialling = [&] {
            seen = view(window) + runningTimers(window);
            stored = QSettings().value(settingskeys::CurrentMobileOperator).toString();
        };
        button(window, "connectButton")->click();
        QCOMPARE(seen, busyView);
        QCOMPARE(stored, QString("GrameenPhone"));
        QCOMPARE(bench.machine.openedPath, QString("\\\\.\\COM7"));
        QCOMPARE(bench.machine.written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"gpinternet\"\r"));
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(bench.machine.dials.first().entry, QString(entry));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        // The connection's name is the entry's.
        bench.log.clear();
        fire(statusTimer(window));
        QCOMPARE(bench.log.lines().first(), askedFor(entry));
    }

    void diallingFails()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        bench.machine.dialSucceeds = false;
        button(window, "connectButton")->click();
        QCOMPARE(bench.machine.dials.size(), 1);
        // The label that was hidden while busy stays hidden.
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        bench.machine.dialSucceeds = true;
        bench.answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(view(window), connectedView);
    }

    void missingEntryLeadsIntoTheWizard_data()
    {
        QTest::addColumn<bool>("isMissing");
        QTest::addColumn<bool>("isClosed");
        QTest::newRow("missing") << true << false;
        QTest::newRow("another failure") << false << false;
        QTest::newRow("closed meanwhile") << true << true;
    }

    void missingEntryLeadsIntoTheWizard()
    {
        QFETCH(const bool, isMissing);
        QFETCH(const bool, isClosed);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        bench.machine.RasDialDlgW.wrap(
            [&](auto &, auto, auto, auto, platform::RasDialDialog *info) -> platform::BOOL {
                info->dwError =
                    isMissing ? platform::RasErrorEntryNotFound : platform::RasErrorNoAnswer;
                if (isClosed)
                    window.close();
                return 0;
            });
        button(window, "connectButton")->click();
        const bool isWizard = isMissing && !isClosed;
        QCOMPARE(!window.findChildren<SettingsWizard *>().isEmpty(), isWizard);
        QCOMPARE(window.isVisible(), !isMissing);
        QCOMPARE(view(window), disconnectedView);
        if (!isWizard)
            return;
        // Back without a set-up, a port that cannot be opened is no reason for another.
        window.findChild<SettingsWizard *>()->reject();
        QVERIFY(window.isVisible());
        bench.fail("CreateFileW", platform::ErrorFileNotFound, 2);
        button(window, "connectButton")->click();
        QVERIFY(window.isVisible());
    }

    /// A connection ends every countdown.
    void countdownThatBeganDuringTheDialEnds()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.answerDial();
        QStringList running;
        bench.machine.whileDialling = [&] {
            QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
            running = runningTimers(window);
        };
        button(window, "connectButton")->click();
        QCOMPARE(running, QStringList("progress"));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
    }

    void portCannotBeOpened()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        bench.fail("CreateFileW", platform::ErrorFileNotFound);
        action(window, "action_Connect")->trigger();
        QCOMPARE(bench.machine.dials.size(), 0);
        QCOMPARE(QSettings().value(settingskeys::CurrentMobileOperator).toString(),
                 QString("Banglalink"));
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
    }

    /// Nor is the port's number: nothing keeps the dial waiting for the disk.
    void theSameOperatorIsNotWrittenAgain()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        auto *operators = window.findChild<QComboBox *>("operatorComboBox");
        const auto contentAfterDial = [&](const QByteArray &before) {
            const QString fileName = QSettings().fileName();
            if (!before.isEmpty())
                TestSettings::write(fileName, before);
            bench.answerDial();
            action(window, "action_Connect")->trigger();
            QFile file(fileName);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        operators->setCurrentText("GrameenPhone");
        const QByteArray written = contentAfterDial(QByteArray());
        QVERIFY(written.contains("CurrentMobileOperator=GrameenPhone\n"));
        // A remark does not survive a writing.
        QCOMPARE(contentAfterDial("; by hand\n" + written), "; by hand\n" + written);
        operators->setCurrentText("Banglalink");
        QVERIFY(contentAfterDial("; by hand\n" + written)
                    .contains("CurrentMobileOperator=Banglalink\n"));
    }

    void dialWhileWaiting_data()
    {
        QTest::addColumn<bool>("dialSucceeds");
        QTest::newRow("connected") << true;
        QTest::newRow("refused") << false;
    }

    /// Busy, Connected and Disconnected each take the port check away.
    void dialWhileWaiting()
    {
        QFETCH(bool, dialSucceeds);
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        bench.answerDial();
        bench.machine.dialSucceeds = dialSucceeds;
        QStringList seen;
        bench.machine.whileDialling = [&] { seen = view(window); };
        QVERIFY(QMetaObject::invokeMethod(&window, "StartDialling"));
        QCOMPARE(seen, busyView);
        QCOMPARE(view(window), dialSucceeds ? connectedView : disconnectedView);
        // Nothing but the port's appearance stops the search.
        QVERIFY(portTimer(window)->isActive());
    }

    /// The port is looked for before each dial, and what comes of it is not
    /// looked at.
    void portIsLookedForBeforeDialling()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QSettings().setValue(settingskeys::port(9), "TolvaneModem 2");
        bench.machine.ports = {{"USB Modem Driver (COM9)", true}};
        bench.answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(bench.machine.openedPath, QString("\\\\.\\COM9"));
        QCOMPARE(bench.machine.dials.first().entry, QString("TolvaneModem 2"));

        button(window, "disconnectButton")->click();
        bench.machine.ports.clear();
        bench.answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(bench.machine.openedPath, QString("\\\\.\\COM0"));
        QCOMPARE(bench.machine.dials.last().entry, QString(""));
    }

    // Hanging up.

    void hangUp()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QStringList seen;
        bench.machine.whileListingConnections = [&] { seen = view(window); };
        bench.log.clear();
        button(window, "disconnectButton")->click();
        QCOMPARE(seen, busyView);
        QCOMPARE(bench.log.lines().first(), askedFor(entry));
        QCOMPARE(bench.machine.hungUp.size(), 1);
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        // The name is gone with the connection.
        bench.log.clear();
        QVERIFY(QMetaObject::invokeMethod(&window, "StopDialling"));
        QCOMPARE(bench.log.lines().first(), askedFor(""));
    }

    void hangUpFails()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        bench.fail("RasHangUpW", platform::RasErrorInvalidHandle);
        action(window, "action_Disconnect")->trigger();
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        bench.log.clear();
        action(window, "action_Disconnect")->trigger();
        QCOMPARE(bench.log.lines().first(), askedFor(entry));
        QCOMPARE(view(window), disconnectedView);
    }

    void hangUpCannotListConnections()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        // The first call was the start's.
        bench.fail("RasEnumConnectionsW", platform::RasErrorBufferTooSmall, 2);
        button(window, "disconnectButton")->click();
        QCOMPARE(bench.injector.firedFaults(), 1);
        QCOMPARE(view(window), connectedView);
        QVERIFY(bench.machine.hungUp.isEmpty());
    }

    /// File offers both actions while the first countdown runs.
    void disconnectDuringTheCountdown()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QStringList seen;
        bench.machine.whileListingConnections = [&] {
            seen = view(window) + runningTimers(window);
        };
        action(window, "action_Disconnect")->trigger();
        bench.machine.whileListingConnections = nullptr;
        QCOMPARE(seen, busyView);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        fire(statusTimer(window));
        QCOMPARE(view(window), disconnectedView);
    }

    // "Please Wait" is on the screen before the window blocks.

    void pleaseWaitIsPaintedBeforeDialling()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        PaintCounter counter;
        button(window, "pleaseWaitbutton")->installEventFilter(&counter);
        int painted = 0;
        bench.machine.whileOpeningPort = [&] { painted = counter.paints; };
        bench.answerDial();
        QTest::mouseClick(button(window, "connectButton"), Qt::LeftButton);
        QCOMPARE(painted, 1);
    }

    void pleaseWaitIsPaintedBeforeHangingUp()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        PaintCounter counter;
        button(window, "pleaseWaitbutton")->installEventFilter(&counter);
        int painted = 0;
        bench.machine.whileListingConnections = [&] { painted = counter.paints; };
        QTest::mouseClick(button(window, "disconnectButton"), Qt::LeftButton);
        QCOMPARE(painted, 1);
    }

    void clicksWhileBusyPressPleaseWait_data()
    {
        QTest::addColumn<bool>("dialSucceeds");
        QTest::newRow("connected") << true;
        QTest::newRow("refused") << false;
    }

    /// Whoever clicks on "Please Wait" must not press the button that takes
    /// its place afterwards.
    void clicksWhileBusyPressPleaseWait()
    {
        QFETCH(bool, dialSucceeds);
        MainWindowBench bench;
        bench.setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        bench.answerDial();
        bench.machine.dialSucceeds = dialSucceeds;
        bench.machine.whileDialling = [&] { postClick(window, "pleaseWaitbutton"); };
        button(window, "connectButton")->click();
        bench.machine.whileDialling = nullptr;
        QCoreApplication::processEvents();
        QCOMPARE(bench.machine.hungUp.size(), 0);
        QCOMPARE(bench.machine.dials.size(), 1);
        QCOMPARE(view(window), dialSucceeds ? connectedView : disconnectedView);
    }

    void clicksWhileHangingUpPressPleaseWait()
    {
        MainWindowBench bench;
        bench.setUpEntry();
        bench.connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        bench.machine.whileListingConnections = [&] { postClick(window, "pleaseWaitbutton"); };
        button(window, "disconnectButton")->click();
        bench.machine.whileListingConnections = nullptr;
        QCoreApplication::processEvents();
        QCOMPARE(bench.machine.hungUp.size(), 1);
        QCOMPARE(bench.machine.dials.size(), 0);
        QCOMPARE(view(window), disconnectedView);
    }

    void pleaseWaitDoesNothing()
    {
        MainWindowBench bench;
        bench.setUpWaiting();
        MainWindow window;
        const QStringList before = bench.injector.operations();
        QVERIFY(button(window, "pleaseWaitbutton")->isEnabled());
        button(window, "pleaseWaitbutton")->click();
        QCOMPARE(bench.injector.operations(), before);
        QCOMPARE(view(window), waitingView);
    }
};

QTEST_MAIN(MainWindowDiallingTest)
#include "mainwindow_dialling_test.moc"
