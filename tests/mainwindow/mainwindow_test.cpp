#include "mainwindow/mainwindow.h"

#include "app/formfont.h"
#include "app/operators.h"
#include "app/settings.h"
#include "dialogs/aboutdialog.h"
#include "dialogs/creditdialog.h"
#include "platform/faultinjection/faultinjectingplatform.h"
#include "tests/support/logcatcher.h"
#include "tests/support/markingtranslator.h"
#include "tests/support/scriptedmachine.h"
#include "tests/support/testsettings.h"
#include "wizard/settingswizard.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QMetaMethod>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QTimerEvent>

#include <functional>
#include <memory>

namespace {

constexpr int Port = 7;
const char portName[] = "USB Modem Driver (COM7)";
const char entry[] = "TolvaneModem 1";

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

// What the window offers in each state, in the order of the controls below.
const QStringList startView{"menu_File", "action_Disconnect", "action_Connect", "connectButton",
                            "autoConnectLabel"};
const QStringList waitingView{"pleaseWaitbutton", "portCheckButton"};
const QStringList busyView{"pleaseWaitbutton"};
const QStringList connectedView{"menu_File", "action_Disconnect", "disconnectButton"};
const QStringList disconnectedView{"menu_File", "action_Connect", "connectButton"};
const QStringList countdownAgainView{"menu_File", "action_Connect", "connectButton",
                                     "autoConnectLabel"};

/// What is enabled (the menu) or not hidden (everything else).
QStringList view(const MainWindow &window)
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

QTimer *timer(const MainWindow &window, int interval)
{
    for (QTimer *candidate : window.findChildren<QTimer *>(QString(), Qt::FindDirectChildrenOnly)) {
        if (candidate->interval() == interval)
            return candidate;
    }
    return nullptr;
}

QTimer *progressTimer(const MainWindow &window)
{
    return timer(window, 100);
}

QTimer *statusTimer(const MainWindow &window)
{
    return timer(window, 10000);
}

QTimer *portTimer(const MainWindow &window)
{
    return timer(window, 5000);
}

QStringList runningTimers(const MainWindow &window)
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
void fire(QTimer *running)
{
    QVERIFY(running->isActive());
    QTimerEvent event(running->timerId());
    QCoreApplication::sendEvent(running, &event);
}

QPushButton *button(const MainWindow &window, const char *name)
{
    return window.findChild<QPushButton *>(name);
}

QAction *action(const MainWindow &window, const char *name)
{
    return window.findChild<QAction *>(name);
}

QString countdownText(const MainWindow &window)
{
    return window.findChild<QLabel *>("autoConnectLabel")->text();
}

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

QList<SettingsWizard *> wizards(const MainWindow &window)
{
    return window.findChildren<SettingsWizard *>();
}

} // namespace

class MainWindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useFormFont();
        m_settings = std::make_unique<TestSettings>();
    }

    void init()
    {
        m_log.reset();
        m_settings->clear();
        m_machine = std::make_unique<WatchedMachine>();
        m_platform = std::make_unique<platform::FaultInjectingPlatform>(*m_machine);
        platform::setCurrent(m_platform.get());
        m_log = std::make_unique<LogCatcher>();
    }

    void cleanup() { m_log.reset(); }

    void cleanupTestCase()
    {
        platform::setCurrent(nullptr);
        m_settings.reset();
    }

    void slotsAndTimers()
    {
        setUpEntry();
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

    // Start.

    void firstRunOpensTheWizard()
    {
        setUpPort();
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        MainWindow window;
        checkWizardStart(window);
        // In the middle of the screen, give or take a frame.
        const QPoint offCentre = wizards(window).first()->geometry().center() -
                                 window.screen()->availableGeometry().center();
        QVERIFY(offCentre.manhattanLength() < 60);
        // Nothing was asked of the machine.
        QCOMPARE(m_platform->operations(), QStringList());
        QCOMPARE(m_log->lines(), QStringList());
    }

    void portWithoutEntryOpensTheWizard()
    {
        setUpPort();
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        MainWindow window;
        checkWizardStart(window);
        QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), Port);
        QCOMPARE(m_log->lines().last(), QString("connection name in reg:  \"\""));
    }

    void noPortAndNoDriversOpensTheWizard()
    {
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        MainWindow window;
        checkWizardStart(window);
        QCOMPARE(QSettings().value(settingskeys::CurrentPort).toInt(), 0);
    }

    void noPortWithDriversWaits()
    {
        setUpWaiting();
        MainWindow window;
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), waitingView);
        QCOMPARE(runningTimers(window), QStringList("port"));
        QVERIFY(wizards(window).isEmpty());
    }

    void connectionAlreadyUp()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        QVERIFY(m_log->lines().contains("connection name in reg:  \"TolvaneModem 1\""));
        // It is this connection that is watched and hung up.
        m_log->clear();
        fire(statusTimer(window));
        QCOMPARE(m_log->lines().first(), askedFor(entry));
        QCOMPARE(view(window), connectedView);
        button(window, "disconnectButton")->click();
        QCOMPARE(m_machine->hungUp.size(), 1);
    }

    void anotherConnectionUpCountsDown()
    {
        setUpEntry();
        connectElsewhere("tolvanemodem 1");
        MainWindow window;
        checkFirstCountdown(window);
    }

    void noConnectionCountsDown()
    {
        setUpEntry();
        MainWindow window;
        checkFirstCountdown(window);
    }

    void unreadableEntryCountIsNoFirstRun()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::NoOfDialups, "many");
        MainWindow window;
        checkFirstCountdown(window);
    }

    // The operator list.

    void operatorsAreListed()
    {
        setUpEntry();
        MainWindow window;
        QCOMPARE(operators(window),
                 QStringList({"Banglalink", "GrameenPhone", "Robi (Aktel)", "Teletalk", "Warid"}));
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), 0);
    }

    void chosenOperatorIsSelected()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, "Teletalk");
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), 3);
    }

    void operatorOfAnotherType_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<int>("index");
        QTest::newRow("list") << QVariant(QStringList{"Warid", "Teletalk"}) << 0;
        QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}}) << 0;
        QTest::newRow("binary") << QVariant(QByteArray("\x01\xff")) << -1;
        QTest::newRow("number") << QVariant(7) << -1;
    }

    /// A list or a map is no text, and so no operator was chosen.
    void operatorOfAnotherType()
    {
        QFETCH(QVariant, value);
        QFETCH(int, index);
        setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, value);
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), index);
    }

    void entryNameOfAnotherType()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::port(Port), QStringList{"a", "b"});
        MainWindow window;
        checkWizardStart(window);
    }

    void ownOperatorTable()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::MobileOperators,
                             QVariantMap{{"Zeta", "z"}, {"Alpha", "a"}});
        MainWindow window;
        QCOMPARE(operators(window), QStringList({"Alpha", "Zeta"}));
    }

    void tableThatIsNoMap()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::MobileOperators, "no map");
        MainWindow window;
        QCOMPARE(operators(window), QStringList());
        answerDial();
        button(window, "connectButton")->click();
        QVERIFY(m_machine->written.endsWith("AT+CGDCONT=1,\"IP\",\"\"\r"));
    }

    void unknownOperator()
    {
        setUpEntry();
        QSettings().setValue(settingskeys::CurrentMobileOperator, "Nobody");
        MainWindow window;
        QCOMPARE(window.findChild<QComboBox *>("operatorComboBox")->currentIndex(), -1);
        answerDial();
        button(window, "connectButton")->click();
        const QVariant stored = QSettings().value(settingskeys::CurrentMobileOperator);
        QVERIFY(stored.isValid());
        QCOMPARE(stored.toString(), QString(""));
        QVERIFY(m_machine->written.endsWith("AT+CGDCONT=1,\"IP\",\"\"\r"));
        QCOMPARE(m_machine->dials.size(), 1);
    }

    // The countdown.

    void firstCountdownTakes101Ticks()
    {
        setUpEntry();
        MainWindow window;
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QCOMPARE(bar->value(), -1);
        QCOMPARE(countdownText(window), QString("Auto connecting in 10 seconds"));
        for (int tick = 1; tick <= 100; ++tick) {
            fire(progressTimer(window));
            QCOMPARE(bar->value(), tick - 1);
            QCOMPARE(countdownText(window),
                     QString("Auto connecting in <b>%1</b> seconds").arg(10 - (tick - 1) / 10));
            QCOMPARE(m_machine->dials.size(), 0);
        }
        answerDial();
        fire(progressTimer(window));
        QCOMPARE(bar->value(), 100);
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>0</b> seconds"));
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
    }

    void countdownRunsByItself()
    {
        setUpEntry();
        MainWindow window;
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QTRY_COMPARE(bar->value(), 1);
    }

    /// The bar stays at its end, so the next countdown is over with its first
    /// tick.
    void secondCountdownDialsOnItsFirstTick()
    {
        setUpEntry();
        MainWindow window;
        m_machine->dialSucceeds = false;
        countDown(window);
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(view(window), disconnectedView);

        QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        const auto *bar = window.findChild<QProgressBar *>("connectionProgressBar");
        QCOMPARE(bar->value(), 100);
        answerDial();
        fire(progressTimer(window));
        QCOMPARE(countdownText(window), QString("Auto connecting in <b>0</b> seconds"));
        QCOMPARE(m_machine->dials.size(), 2);
        QCOMPARE(bar->value(), 100);
    }

    void connectDuringTheCountdown()
    {
        setUpEntry();
        MainWindow window;
        fire(progressTimer(window));
        answerDial();
        action(window, "action_Connect")->trigger();
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        QCOMPARE(window.findChild<QProgressBar *>("connectionProgressBar")->value(), 0);
    }

    void languageChangeOverwritesTheCountdown()
    {
        setUpEntry();
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

    // Dialling.

    void dialling()
    {
        setUpEntry();
        MainWindow window;
        window.findChild<QComboBox *>("operatorComboBox")->setCurrentText("GrameenPhone");
        answerDial();
        QStringList seen;
        QString stored;
        m_machine->whileDialling = [&] {
            seen = view(window) + runningTimers(window);
            stored = QSettings().value(settingskeys::CurrentMobileOperator).toString();
        };
        button(window, "connectButton")->click();
        QCOMPARE(seen, busyView);
        QCOMPARE(stored, QString("GrameenPhone"));
        QCOMPARE(m_machine->openedPath, QString("\\\\.\\COM7"));
        QCOMPARE(m_machine->written, QByteArray("AT\rAT+CGDCONT=1,\"IP\",\"gpinternet\"\r"));
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(m_machine->dials.first().entry, QString(entry));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        // The connection's name is the entry's.
        m_log->clear();
        fire(statusTimer(window));
        QCOMPARE(m_log->lines().first(), askedFor(entry));
    }

    void diallingFails()
    {
        setUpEntry();
        MainWindow window;
        answerDial();
        m_machine->dialSucceeds = false;
        button(window, "connectButton")->click();
        QCOMPARE(m_machine->dials.size(), 1);
        // The label that was hidden while busy stays hidden.
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        m_machine->dialSucceeds = true;
        answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(view(window), connectedView);
    }

    void portCannotBeOpened()
    {
        setUpEntry();
        MainWindow window;
        m_platform->inject({"CreateFileW", 1, platform::ErrorFileNotFound, false});
        action(window, "action_Connect")->trigger();
        QCOMPARE(m_machine->dials.size(), 0);
        QCOMPARE(QSettings().value(settingskeys::CurrentMobileOperator).toString(),
                 QString("Banglalink"));
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
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
        setUpWaiting();
        MainWindow window;
        answerDial();
        m_machine->dialSucceeds = dialSucceeds;
        QStringList seen;
        m_machine->whileDialling = [&] { seen = view(window); };
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
        setUpEntry();
        MainWindow window;
        QSettings().setValue(settingskeys::port(9), "TolvaneModem 2");
        m_machine->ports = {{"USB Modem Driver (COM9)", true}};
        answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(m_machine->openedPath, QString("\\\\.\\COM9"));
        QCOMPARE(m_machine->dials.first().entry, QString("TolvaneModem 2"));

        button(window, "disconnectButton")->click();
        m_machine->ports.clear();
        answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(m_machine->openedPath, QString("\\\\.\\COM0"));
        QCOMPARE(m_machine->dials.last().entry, QString(""));
    }

    // Hanging up.

    void hangUp()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        QStringList seen;
        m_machine->whileListingConnections = [&] { seen = view(window); };
        m_log->clear();
        button(window, "disconnectButton")->click();
        QCOMPARE(seen, busyView);
        QCOMPARE(m_log->lines().first(), askedFor(entry));
        QCOMPARE(m_machine->hungUp.size(), 1);
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        // The name is gone with the connection.
        m_log->clear();
        QVERIFY(QMetaObject::invokeMethod(&window, "StopDialling"));
        QCOMPARE(m_log->lines().first(), askedFor(""));
    }

    void hangUpFails()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        m_platform->inject({"RasHangUpW", 1, platform::RasErrorInvalidHandle, false});
        action(window, "action_Disconnect")->trigger();
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        m_log->clear();
        action(window, "action_Disconnect")->trigger();
        QCOMPARE(m_log->lines().first(), askedFor(entry));
        QCOMPARE(view(window), disconnectedView);
    }

    void hangUpCannotListConnections()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        // The first call was the start's.
        m_platform->inject({"RasEnumConnectionsW", 2, platform::RasErrorBufferTooSmall, false});
        button(window, "disconnectButton")->click();
        QCOMPARE(m_platform->firedFaults(), 1);
        QCOMPARE(view(window), connectedView);
        QVERIFY(m_machine->hungUp.isEmpty());
    }

    /// File offers both actions while the first countdown runs.
    void disconnectDuringTheCountdown()
    {
        setUpEntry();
        MainWindow window;
        action(window, "action_Disconnect")->trigger();
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        fire(statusTimer(window));
        QCOMPARE(view(window), disconnectedView);
    }

    // The polls.

    void statusPollFindsTheConnectionGone()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        fire(statusTimer(window));
        QCOMPARE(view(window), connectedView);
        QCOMPARE(runningTimers(window), QStringList("status"));
        m_machine->connections.clear();
        fire(statusTimer(window));
        QCOMPARE(view(window), disconnectedView);
        QCOMPARE(runningTimers(window), QStringList());
        // No automatic retry; the next dial starts the poll anew.
        answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(runningTimers(window), QStringList("status"));
    }

    /// The poll's period goes on when a failed hang-up brings the window back.
    void runningStatusTimerIsNotStartedAnew()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        const int id = statusTimer(window)->timerId();
        m_platform->inject({"RasHangUpW", 1, platform::RasErrorInvalidHandle, false});
        button(window, "disconnectButton")->click();
        QCOMPARE(statusTimer(window)->timerId(), id);
    }

    void portPollFindsNothing()
    {
        setUpWaiting();
        MainWindow window;
        m_log->clear();
        fire(portTimer(window));
        QCOMPARE(m_log->lines().first(), QString("Checking port availability \n"));
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
        setUpWaiting();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), entry);
        setUpPort();
        lookForThePort(window, byButton);
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        QVERIFY(window.isVisible());
        countDown(window);
        QCOMPARE(view(window), connectedView);
    }

    void portWithoutEntryAppears_data() { portAppears_data(); }
    void portWithoutEntryAppears()
    {
        QFETCH(bool, byButton);
        setUpWaiting();
        MainWindow window;
        QSettings().setValue(settingskeys::port(Port), "");
        setUpPort();
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
        setUpEntry();
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
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        QVERIFY(QMetaObject::invokeMethod(&window, "CheckPortAvailability"));
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
        m_log->clear();
        QVERIFY(QMetaObject::invokeMethod(&window, "StopDialling"));
        QCOMPARE(m_log->lines().first(), askedFor(""));
    }

    // "Please Wait" is on the screen before the window blocks.

    void pleaseWaitIsPaintedBeforeDialling()
    {
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        PaintCounter counter;
        button(window, "pleaseWaitbutton")->installEventFilter(&counter);
        int painted = 0;
        m_machine->whileOpeningPort = [&] { painted = counter.paints; };
        answerDial();
        QTest::mouseClick(button(window, "connectButton"), Qt::LeftButton);
        QCOMPARE(painted, 1);
    }

    void pleaseWaitIsPaintedBeforeHangingUp()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        PaintCounter counter;
        button(window, "pleaseWaitbutton")->installEventFilter(&counter);
        int painted = 0;
        m_machine->whileListingConnections = [&] { painted = counter.paints; };
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
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        answerDial();
        m_machine->dialSucceeds = dialSucceeds;
        m_machine->whileDialling = [&] { postClick(window, "pleaseWaitbutton"); };
        button(window, "connectButton")->click();
        m_machine->whileDialling = nullptr;
        QCoreApplication::processEvents();
        QCOMPARE(m_machine->hungUp.size(), 0);
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(view(window), dialSucceeds ? connectedView : disconnectedView);
    }

    void clicksWhileHangingUpPressPleaseWait()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        m_machine->whileListingConnections = [&] { postClick(window, "pleaseWaitbutton"); };
        button(window, "disconnectButton")->click();
        m_machine->whileListingConnections = nullptr;
        QCoreApplication::processEvents();
        QCOMPARE(m_machine->hungUp.size(), 1);
        QCOMPARE(m_machine->dials.size(), 0);
        QCOMPARE(view(window), disconnectedView);
    }

    void pleaseWaitDoesNothing()
    {
        setUpWaiting();
        MainWindow window;
        const QStringList before = m_platform->operations();
        QVERIFY(button(window, "pleaseWaitbutton")->isEnabled());
        button(window, "pleaseWaitbutton")->click();
        QCOMPARE(m_platform->operations(), before);
        QCOMPARE(view(window), waitingView);
    }

    // The wizard.

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
    }

    void wizardFromEveryState()
    {
        QFETCH(QStringList, shown);
        QFETCH(QStringList, timersBefore);
        QFETCH(QStringList, timersAfter);
        const std::unique_ptr<MainWindow> window = windowInState(QTest::currentDataTag());
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

    /// A system whose dial dialog lets the window's events through.
    void wizardWhileBusy()
    {
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        answerDial();
        m_machine->whileDialling = [&] {
            QTest::keyClick(&window, Qt::Key_N, Qt::ControlModifier);
        };
        button(window, "connectButton")->click();
        QCOMPARE(wizards(window).size(), 1);
        QVERIFY(!window.isVisible());
        QCOMPARE(view(window), connectedView);
        wizards(window).first()->reject();
        QVERIFY(window.isVisible());
    }

    /// The port poll goes on behind the wizard.
    void portAppearsBehindTheWizard()
    {
        setUpWaiting();
        MainWindow window;
        action(window, "actionCreate_New_Connection")->trigger();
        setUpPort();
        fire(portTimer(window));
        QCOMPARE(wizards(window).size(), 2);
        QVERIFY(!window.isVisible());
        QCOMPARE(runningTimers(window), QStringList());
    }

    /// With an entry for the port, it counts down and dials there.
    void countdownBehindTheWizard()
    {
        setUpWaiting();
        QSettings().setValue(settingskeys::port(Port), entry);
        MainWindow window;
        action(window, "actionCreate_New_Connection")->trigger();
        setUpPort();
        fire(portTimer(window));
        QCOMPARE(runningTimers(window), QStringList("progress"));
        countDown(window);
        QCOMPARE(m_machine->dials.size(), 1);
        QVERIFY(!window.isVisible());
        QCOMPARE(view(window), connectedView);
    }

    void connectionLostBehindTheWizard()
    {
        setUpEntry();
        connectElsewhere();
        MainWindow window;
        action(window, "actionCreate_New_Connection")->trigger();
        m_machine->connections.clear();
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
        setUpPort();
        MainWindow window;
        QSettings().setValue(settingskeys::NoOfDialups, 1);
        QSettings().setValue(settingskeys::port(Port), entry);
        wizards(window).first()->accept();
        QVERIFY(window.isVisible());
        QCOMPARE(view(window), startView);
        QCOMPARE(countdownText(window), QString("Auto connecting in 10 seconds"));
        QCOMPARE(runningTimers(window), QStringList());
        answerDial();
        button(window, "connectButton")->click();
        QCOMPARE(view(window), connectedView);
    }

    void cancelledFirstRunLeavesNoWindow()
    {
        MainWindow window;
        wizards(window).first()->reject();
        QVERIFY(!window.isVisible());
        QVERIFY(!wizards(window).first()->isVisible());
    }

    void cancelledFirstRunEndsTheProgram()
    {
        MainWindow window;
        QTimer::singleShot(0, &window, [&] { wizards(window).first()->close(); });
        QTimer::singleShot(10000, &window, [] { QCoreApplication::exit(1); });
        QCOMPARE(QApplication::exec(), 0);
    }

    /// A dialog that was left open may be closed while the wizard works.
    void dialogClosedBesideTheWizardEndsNothing()
    {
        setUpEntry();
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
        setUpEntry();
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

    // Dialogs.

    void dialogs()
    {
        setUpEntry();
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

    // Keys.

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
        const std::unique_ptr<MainWindow> window = windowInState(state);
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        progressTimer(*window)->stop();
        m_log->clear();
        const auto dials = m_machine->dials.size();
        answerDial();
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), Qt::ControlModifier);
        QCOMPARE(!m_log->lines().isEmpty(), acts);
        QCOMPARE(m_machine->dials.size() - dials, acts && key == Qt::Key_C ? 1 : 0);
    }

    void shortcutsWhileBusy()
    {
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        answerDial();
        int listed = 0;
        m_machine->whileListingConnections = [&] { ++listed; };
        m_machine->whileDialling = [&] {
            QTest::keyClick(&window, Qt::Key_C, Qt::ControlModifier);
            QTest::keyClick(&window, Qt::Key_D, Qt::ControlModifier);
        };
        button(window, "connectButton")->click();
        QCOMPARE(m_machine->dials.size(), 1);
        QCOMPARE(listed, 0);
    }

    /// Ctrl+C connects also while the footer's link has the focus.
    void copyKeyConnectsFromTheFooter()
    {
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto *label = window.findChild<QLabel *>("label");
        label->setFocus(Qt::TabFocusReason);
        QVERIFY(label->hasFocus());
        answerDial();
        QTest::keyClick(label, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(m_machine->dials.size(), 1);
    }

    /// A key that is pressed twice must not undo what it did.
    void keyPressedTwice()
    {
        setUpEntry();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
        QTest::keyClick(&window, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), button(window, "connectButton"));
        answerDial();
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
        setUpWaiting();
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
        setUpWaiting();
        MainWindow window;
        QVERIFY(QTest::qWaitForWindowActive(&window));
        for (int stop = 0; stop < 4 && !button(window, "portCheckButton")->hasFocus(); ++stop)
            QTest::keyClick(&window, Qt::Key_Tab);
        QVERIFY(button(window, "portCheckButton")->hasFocus());
        QSettings().setValue(settingskeys::port(Port), entry);
        setUpPort();
        QTest::keyClick(button(window, "portCheckButton"), Qt::Key_Space);
        QCOMPARE(view(window), countdownAgainView);
        QCOMPARE(QApplication::focusWidget(), window.findChild<QComboBox *>());
    }

    // The icon.

    void iconIsFoundFromAnywhere()
    {
        setUpEntry();
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

private:
    void setUpPort() { m_machine->ports = {{portName, true}}; }

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

    void connectElsewhere(const QString &name = entry)
    {
        m_machine->connections = {
            {name, reinterpret_cast<platform::RasConnectionHandle>(platform::ULONG_PTR{0x4711})}};
    }

    /// The modem will answer the two commands of one dial.
    void answerDial() { m_machine->chunks = {"\r\nOK\r\n", "\r\nOK\r\n"}; }

    /// Lets a running countdown end; the modem answers.
    void countDown(MainWindow &window)
    {
        answerDial();
        for (int tick = 1; tick <= 101 && progressTimer(window)->isActive(); ++tick)
            fire(progressTimer(window));
        QVERIFY(!progressTimer(window)->isActive());
    }

    static void lookForThePort(MainWindow &window, bool byButton)
    {
        if (byButton)
            QTest::mouseClick(button(window, "portCheckButton"), Qt::LeftButton);
        else
            fire(portTimer(window));
    }

    std::unique_ptr<MainWindow> windowInState(const QString &state)
    {
        if (state == "waiting")
            setUpWaiting();
        else
            setUpEntry();
        if (state == "connected" || state == "disconnected")
            connectElsewhere();
        auto window = std::make_unique<MainWindow>();
        if (state == "disconnected")
            button(*window, "disconnectButton")->click();
        return window;
    }

    static QStringList operators(const MainWindow &window)
    {
        const auto *box = window.findChild<QComboBox *>("operatorComboBox");
        QStringList names;
        for (int i = 0; i < box->count(); ++i)
            names.append(box->itemText(i));
        return names;
    }

    /// The line that a query or a hang-up begins with.
    static QString askedFor(const QString &name)
    {
        return "in isDialupConnectionConnected, connName:  " + quoted(name);
    }

    static void checkWizardStart(const MainWindow &window)
    {
        QVERIFY(!window.isVisible());
        QCOMPARE(wizards(window).size(), 1);
        QVERIFY(wizards(window).first()->isVisible());
        QCOMPARE(wizards(window).first()->parentWidget(), &window);
        QCOMPARE(runningTimers(window), QStringList());
        QCOMPARE(view(window), startView);
    }

    static void checkFirstCountdown(const MainWindow &window)
    {
        QVERIFY(window.isVisible());
        QVERIFY(wizards(window).isEmpty());
        QCOMPARE(view(window), startView);
        QCOMPARE(runningTimers(window), QStringList("progress"));
    }

    std::unique_ptr<TestSettings> m_settings;
    std::unique_ptr<WatchedMachine> m_machine;
    std::unique_ptr<platform::FaultInjectingPlatform> m_platform;
    std::unique_ptr<LogCatcher> m_log;
};

QTEST_MAIN(MainWindowTest)
#include "mainwindow_test.moc"
