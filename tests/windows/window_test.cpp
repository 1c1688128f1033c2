// The packaged program in a real window, from the first start to the hang-up.

#include "tests/windows/callcheck.h"
#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/winemachine.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QSize>
#include <QTest>

#include <memory>

namespace {

const char dialTitle[] = "Connect TolvaneModem 1";

/// The debug stream of one look at the active connections for the first of the
/// program's own.
QString statusDebug(const QStringList &active)
{
    const QString name = "\"TolvaneModem 1\"";
    QString text = "in isDialupConnectionConnected, connName:  " + name +
                   "\nMsg from  isDialupConnectionConnected  -  \"No of Connections = " +
                   QString::number(active.size()) +
                   "\" \n\nThe following RAS connections are currently active: \n\n";
    for (const QString &connection : active) {
        const QString listed = '"' + connection + '"';
        text += listed + "\n " + (listed == name ? "==" : "!=") + "  " + name + " \n\n";
    }
    return text;
}

} // namespace

class WindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void firstRunToFinish_data();
    void firstRunToFinish();
    void secondStartDialsAndHangsUp();
    void connectionThatIsUpAlready();
    void connectionThatDrops();
    void dialDialogCancelled();
    void answersThatAreNotAnAnswer();
    void modemThatAnswersError();
    void noPhoneInTheWizard();
    void unpluggedAndWaiting();
    void phoneThatSaysNothing();
    void menusAndDialogs();
    void settingsOfAnotherAccount();
    void wizardCancelled();
    void scaledDisplay_data();
    void scaledDisplay();
    void iconOfTheWindow_data();
    void iconOfTheWindow();
    void fatalBoxFromAPoolThread_data();
    void fatalBoxFromAPoolThread();

private:
    /// Start, dial and come back with the dial dialog open.
    void startAndWaitForDialog();

    std::unique_ptr<WineMachine> m_machine;
    std::unique_ptr<PhoneOnPort> m_phone;
};

void WindowTest::initTestCase()
{
    m_machine = std::make_unique<WineMachine>();
    m_phone = std::make_unique<PhoneOnPort>(*m_machine);
    m_machine->setWindowsVersion("win7");
}

void WindowTest::cleanupTestCase()
{
    m_machine->setWindowsVersion({});
    m_phone.reset();
    m_machine.reset();
}

void WindowTest::init()
{
    m_machine->reset();
}

void WindowTest::cleanup()
{
    m_machine->stop();
    m_phone->unplug();
    const QString name = QString("window-") + QTest::currentTestFunction() +
                         (QTest::currentDataTag() ? QString("-") + QTest::currentDataTag() : "");
    if (QTest::currentTestFailed())
        m_machine->screenshot(name + "-failed");
    m_machine->keepLogs(name);
    // Whatever the test was about: no call of it was wrong.
    const QStringList wrong = wrongCalls(m_machine->calls());
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join('\n')));
}

void WindowTest::startAndWaitForDialog()
{
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->pressUntil(window, "ctrl+c", [this] {
        return m_machine->debug().contains("is successfully reconfigured.");
    }));
    QVERIFY(!m_machine->waitForWindow(dialTitle).isEmpty());
}

void WindowTest::firstRunToFinish_data()
{
    QTest::addColumn<bool>("themed");
    QTest::newRow("themed") << true;
    QTest::newRow("classic") << false;
}

void WindowTest::firstRunToFinish()
{
    QFETCH(bool, themed);
    const QString picture = QString("first-run-") + QTest::currentDataTag();
    m_machine->setThemed(themed);
    m_machine->setMachine(machineWithPhone());
    const QString wizard = m_machine->startUntil(wizardTitle);
    QVERIFY(!wizard.isEmpty());
    m_machine->setThemed(true);
    m_machine->screenshot(picture + "-1-welcome");
    QCOMPARE(startSetup(*m_machine), wizard);

    QVERIFY(m_machine->waitForDebug("Successfully created the DIALUP CONNECTION :D :D\n"));
    QVERIFY(m_machine->waitForCall("^InstallDriver.exe "));
    // Finish is the default button now, and only now.
    QVERIFY(QTest::qWaitFor([&] { return m_machine->setting("ports/7") == "TolvaneModem 1"; }));
    m_machine->screenshot(picture + "-2-successful");
    m_machine->press(wizard, "Return");

    const QString window = m_machine->waitForWindow(mainTitle);
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->waitForNoWindow(wizardTitle));
    m_machine->screenshot(picture + "-3-main-window");

    const QString difference =
        firstDifference(setupOnly(m_machine->calls()), setupCalls(*m_machine));
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QCOMPARE(m_machine->debug(), setupDebug(*m_machine));
    QCOMPARE(m_machine->setting("NoOfDialups"), QString("1"));
    QCOMPARE(m_machine->setting("CurrentPort"), QString("7"));
    QCOMPARE(m_machine->setting("isINFSetupDone"), QString("true"));

    m_machine->press(window, "alt+F4");
    QCOMPARE(m_machine->waitForExit(), 0);
    // What the set-up opened it has closed.
    QVERIFY(m_machine->calls().contains("exit sets none"));
    QVERIFY(m_machine->calls().contains(leftOpen()));
}

void WindowTest::secondStartDialsAndHangsUp()
{
    setUpBefore(*m_machine);
    QCOMPARE(m_phone->plugIn(), QString());
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    QElapsedTimer countdown;
    countdown.start();
    m_machine->screenshot("second-start-1-countdown", WineMachine::Moving);

    // The countdown runs out by itself.
    const QString dialog = m_machine->waitForWindow(dialTitle, 30000);
    QVERIFY(!dialog.isEmpty());
    QVERIFY2(countdown.elapsed() > 8000 && countdown.elapsed() < 16000,
             qPrintable(QString::number(countdown.elapsed())));
    m_machine->screenshot("second-start-2-dial-dialog");
    QCOMPARE(m_phone->bytesFromPc(),
             QStringList({"AT\\r", "AT+CGDCONT=1,\\\"IP\\\",\\\"gpinternet\\\"\\r"}));
    const QString dialled = portSearchDebug() + "connection name in reg:  \"TolvaneModem 1\"\n" +
                            statusDebug({}) + portSearchDebug() +
                            "\"\\\\.\\COM7\" \n\n"
                            "Serial port  7  is successfully reconfigured.\n";
    QCOMPARE(m_machine->debug(), dialled);
    m_machine->press(dialog, "Return");
    QVERIFY(m_machine->waitForCall(
        "^RasDialDlgW phonebook=null entry=\"TolvaneModem 1\" behind=zero number=\"\\*99#\" "
        "dwSize=48 rest=zero -> 1$"));
    QVERIFY(m_machine->waitForNoWindow(dialTitle));
    QCOMPARE(m_machine->connections(), QStringList("TolvaneModem 1"));
    m_machine->screenshot("second-start-3-connected");

    // The status is looked at every ten seconds while connected; the hang-up
    // looks for the connection in the same way.
    const QString look = statusDebug({"TolvaneModem 1"});
    QVERIFY(m_machine->waitForDebug(dialled + look, 15000));
    m_machine->press(window, "ctrl+d");
    QVERIFY(m_machine->waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$"));
    QVERIFY(m_machine->waitForDebug(dialled + look + look));
    const int looks = (m_machine->debug().size() - dialled.size()) / look.size();
    QCOMPARE(m_machine->debug(), dialled + look.repeated(looks));
    QVERIFY(m_machine->connections().isEmpty());
    m_machine->screenshot("second-start-4-disconnected");
    QCOMPARE(m_machine->setting("CurrentMobileOperator"), QString("GrameenPhone"));

    const QStringList serial = withoutWaiting(m_machine->calls().filter(
        QRegularExpression("^(CreateFileW|GetComm|SetComm|event|WriteFile|ReadFile|CloseHandle)")));
    const QStringList expected = {
        "CreateFileW name=\"\\\\.\\COM7\" behind=zero access=0xC0000000 share=0 security=null "
        "disposition=3 "
        "flags=0x40000000 template=null -> port1",
        "GetCommState port1 record=zero -> result=1",
        "SetCommState port1 BaudRate=9600 ByteSize=8 Parity=0 StopBits=0 others=as-reported "
        "-> result=1",
        "SetCommTimeouts port1 ReadInterval=0xFFFFFFFF ReadMultiplier=0 ReadConstant=0 "
        "WriteMultiplier=0 WriteConstant=0 -> result=1",
        "SetCommMask port1 mask=5 -> result=1",
        "event event1 manual unsignalled unnamed",
        "WriteFile port1 data=\"AT\\r\" count=3 record=zero event1 -> result=1",
        "event event2 manual unsignalled unnamed",
        "ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event2 -> got=\"\\r\\nOK\\r\\n\"",
        "event event3 manual unsignalled unnamed",
        "WriteFile port1 data=\"AT+CGDCONT=1,\"IP\",\"gpinternet\"\\r\" count=31 record=zero "
        "event3 -> result=1",
        "event event4 manual unsignalled unnamed",
        "ReadFile port1 bytes=100 buffer=zero read=0 offset=zero event4 -> got=\"\\r\\nOK\\r\\n\"",
        "CloseHandle port1 -> result=1",
    };
    const QString difference = firstDifference(serial, expected);
    QVERIFY2(difference.isEmpty(), qPrintable(difference));
    QCOMPARE(m_machine->printed(), QString("\nWriteFile completed immediately.\n\r\nOK\r\n\n"
                                           "\nWriteFile completed immediately.\n\r\nOK\r\n\n"));

    m_machine->press(window, "alt+F4");
    QCOMPARE(m_machine->waitForExit(), 0);
    QVERIFY(m_machine->calls().contains(leftOpen("none", "event1,event2,event3,event4")));
}

void WindowTest::connectionThatIsUpAlready()
{
    setUpBefore(*m_machine);
    m_machine->setConnections({"Office", "TolvaneModem 1"});
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    m_machine->screenshot("already-connected");
    QCOMPARE(m_machine->debug(), portSearchDebug() +
                                     "connection name in reg:  \"TolvaneModem 1\"\n" +
                                     statusDebug({"Office", "TolvaneModem 1"}));
    m_machine->press(window, "ctrl+d");
    QVERIFY(m_machine->waitForCall("^RasHangUpW connection=\"TolvaneModem 1\" -> result=0$"));
    QCOMPARE(m_machine->connections(), QStringList("Office"));
}

void WindowTest::connectionThatDrops()
{
    setUpBefore(*m_machine);
    m_machine->setConnections({"TolvaneModem 1"});
    QVERIFY(!m_machine->startUntil(mainTitle).isEmpty());
    m_machine->setConnections({});
    QVERIFY(m_machine->waitForDebug("No of Connections = 0"));
    // The poll has stopped itself with the connection.
    const int calls = m_machine->calls().size();
    QVERIFY(!QTest::qWaitFor([&] { return m_machine->calls().size() != calls; }, 11000));
    m_machine->screenshot("connection-dropped");
}

void WindowTest::dialDialogCancelled()
{
    setUpBefore(*m_machine);
    QCOMPARE(m_phone->plugIn(), QString());
    startAndWaitForDialog();
    const QString dialog = m_machine->waitForWindow(dialTitle);
    m_machine->press(dialog, "Escape");
    QVERIFY(m_machine->waitForCall("^RasDialDlgW .* -> 0$"));
    QVERIFY(m_machine->connections().isEmpty());
    // Connect is offered again and works.
    const QString window = m_machine->waitForWindow(mainTitle);
    m_machine->press(window, "ctrl+c");
    QVERIFY(QTest::qWaitFor([&] { return m_phone->bytesFromPc().size() == 4; }, 10000));
}

void WindowTest::answersThatAreNotAnAnswer()
{
    setUpBefore(*m_machine);
    // The echo and the noise are chunks of their own and skipped.
    QCOMPARE(m_phone->plugIn({"set echo on", "set noise ^RSSI", "set delay 300"}), QString());
    startAndWaitForDialog();
    QCOMPARE(m_phone->bytesFromPc().size(), 2);
    QVERIFY(!m_machine->calls().filter("got=\"AT\\r\"").isEmpty());
}

void WindowTest::modemThatAnswersError()
{
    setUpBefore(*m_machine);
    QCOMPARE(m_phone->plugIn({"set error all"}), QString());
    startAndWaitForDialog();
    QVERIFY(m_machine->debug().endsWith("AT\r \ncommand is invalid\n\n"));
    QCOMPARE(m_phone->bytesFromPc().size(), 2);
}

void WindowTest::noPhoneInTheWizard()
{
    m_machine->setMachine({"rasdevice modem|MTK GPRS Modem"});
    QVERIFY(m_machine->start());
    const QString wizard = startSetup(*m_machine);
    QVERIFY(!wizard.isEmpty());
    QVERIFY(m_machine->waitForDebug("No ports available"));
    QVERIFY(QTest::qWaitFor([&] { return m_machine->setting("CurrentPort") == "0"; }));
    m_machine->screenshot("no-phone-1-retry");

    // Plugged in, Retry goes on with the search for the port. The page has
    // given it the focus.
    m_machine->setMachine(machineWithPhone());
    m_machine->press(wizard, "space");
    QVERIFY(m_machine->waitForDebug("Successfully created"));
    QCOMPARE(m_machine->calls().filter("SetupCopyOEMInfW").size(), 1);
    m_machine->screenshot("no-phone-2-finish");
}

void WindowTest::unpluggedAndWaiting()
{
    setUpBefore(*m_machine);
    m_machine->setMachine({"dial cancel"});
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->waitForDebug("Checking port availability \n\n"));
    m_machine->screenshot("waiting-1");

    // The person does not wait for the next look: the button looks at once.
    QCOMPARE(m_phone->plugIn(), QString());
    m_machine->setMachine(machineWithPhone() + QStringList{"dial ask"});
    // It spans 250 to 421 by 80 to 161 of the form, below title and menu.
    m_machine->click(window, 330, 141);
    QVERIFY(m_machine->waitForDebug("\"port 7 available\""));
    m_machine->screenshot("waiting-2-countdown", WineMachine::Moving);
    QVERIFY(!m_machine->waitForWindow(dialTitle, 20000).isEmpty());
    QCOMPARE(m_phone->bytesFromPc().size(), 2);
}

void WindowTest::phoneThatSaysNothing()
{
    setUpBefore(*m_machine);
    QCOMPARE(m_phone->plugIn({"set silent on"}), QString());
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->pressUntil(
        window, "ctrl+c", [this] { return m_phone->bytesFromPc() == QStringList("AT\\r"); }));
    QVERIFY(m_machine->waitForCall("^WaitCommEvent "));
    // The program waits without an end.
    m_machine->screenshot("silent-phone");
    QCOMPARE(m_phone->bytesFromPc().size(), 1);
    QVERIFY(m_machine->calls().filter("RasDialDlgW").isEmpty());
    QVERIFY(!m_machine->hasEnded());
}

void WindowTest::menusAndDialogs()
{
    setUpBefore(*m_machine);
    // Connected, so that no countdown dials meanwhile.
    m_machine->setConnections({"TolvaneModem 1"});
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->openMenu(window, "alt+f"));
    m_machine->screenshot("menu-file");
    m_machine->press(window, "Right");
    m_machine->screenshot("menu-help");
    m_machine->press(window, "Return");
    const QString about = m_machine->waitForWindow("About");
    QVERIFY(!about.isEmpty());
    m_machine->screenshot("dialog-about");
    m_machine->press(about, "Escape");
    QVERIFY(m_machine->waitForNoWindow("About"));

    QVERIFY(m_machine->openMenu(window, "alt+f"));
    for (const char *key : {"Right", "Down", "Return"})
        m_machine->press(window, key);
    const QString credits = m_machine->waitForWindow("Credits");
    QVERIFY(!credits.isEmpty());
    m_machine->screenshot("dialog-credits");
    m_machine->press(credits, "Escape");
    QVERIFY(m_machine->waitForNoWindow("Credits"));
    m_machine->press(window, "alt+F4");
    QCOMPARE(m_machine->waitForExit(), 0);
}

// A set-up that another account did, copied to the place for presets.
void WindowTest::settingsOfAnotherAccount()
{
    setUpBefore(*m_machine);
    const QString folder = m_machine->hostFolder() + "/settings/Brantiq Developer Network";
    QVERIFY(QDir().mkpath(folder));
    QVERIFY(QFile::rename(m_machine->settingsFile(), folder + "/Tolvane Modem Connector.ini"));
    const QString window = m_machine->startUntil(mainTitle);
    QVERIFY(QDir(folder).removeRecursively());
    QVERIFY(!window.isEmpty());
    QVERIFY(m_machine->debug().contains("connection name in reg:  \"TolvaneModem 1\"\n"));
}

void WindowTest::wizardCancelled()
{
    m_machine->setMachine(machineWithPhone());
    const QString wizard = m_machine->startUntil(wizardTitle);
    QVERIFY(!wizard.isEmpty());
    QVERIFY(m_machine->pressUntil(wizard, "Escape", [this] { return m_machine->hasEnded(); }));
    QCOMPARE(m_machine->waitForExit(), 0);
    QCOMPARE(m_machine->calls(), QStringList({"exit sets none", leftOpen()}));
    QCOMPARE(m_machine->settingsText(), QString());
}

void WindowTest::scaledDisplay_data()
{
    QTest::addColumn<int>("percent");
    for (int percent : {100, 125, 150, 200})
        QTest::newRow(qPrintable(QString::number(percent))) << percent;
}

void WindowTest::scaledDisplay()
{
    QFETCH(int, percent);
    m_machine->setScaling(percent);
    setUpBefore(*m_machine);
    const QString window = m_machine->startUntil(mainTitle);
    m_machine->setScaling(100);
    QVERIFY(!window.isEmpty());

    // The form's size and a frame around it.
    const QSize form = QSize(522, 288) * percent / 100;
    const QSize frame = QSize(40, 80) * percent / 100;
    const QSize size = m_machine->sizeOf(window);
    QVERIFY2(size.expandedTo(form) == size && size.boundedTo(form + frame) == size,
             qPrintable(QString("%1 x %2").arg(size.width()).arg(size.height())));
    m_machine->screenshot(QString("scaled-%1-window").arg(percent), WineMachine::Moving);
    m_machine->press(window, "ctrl+n");
    QVERIFY(!m_machine->waitForWindow(wizardTitle).isEmpty());
    m_machine->screenshot(QString("scaled-%1-wizard").arg(percent));
}

void WindowTest::iconOfTheWindow_data()
{
    QTest::addColumn<bool>("fileInWorkingDirectory");
    QTest::newRow("file of the working directory") << true;
    QTest::newRow("the program's own") << false;
}

// The icon is a file of the working directory, in a format that a static
// program has to bring the reader for.
void WindowTest::iconOfTheWindow()
{
    QFETCH(bool, fileInWorkingDirectory);
    const QString file = m_machine->driveC() + "/48x48.ico";
    if (fileInWorkingDirectory)
        runOnHost("convert", {"-size", "48x48", "xc:#13579b", "ico:" + file});
    setUpBefore(*m_machine);
    const QString window = m_machine->startUntil(mainTitle);
    QFile::remove(file);
    QVERIFY(!window.isEmpty());
    const auto pixels = [&window] {
        return runOnHost("xprop", {"-id", window, "-notype", "-f", "_NET_WM_ICON", "32c", " $0+",
                                   "_NET_WM_ICON"});
    };
    QVERIFY(QTest::qWaitFor([&] { return pixels().contains(','); }, 10000));
    // As the window manager is given it.
    const QString colour = QString::number(0xff13579bU);
    const QStringList values = pixels().section("_NET_WM_ICON", 1).remove(' ').split(',');
    QVERIFY2(values.contains(colour) == fileInWorkingDirectory, qPrintable(values.join(' ')));
    QVERIFY(values.size() > 2 + 16 * 16);
}

void WindowTest::fatalBoxFromAPoolThread_data()
{
    QTest::addColumn<QStringList>("failures");
    QTest::addColumn<QString>("title");

    QTest::newRow("devices") << QStringList{"fail RasEnumDevicesW 1 87"}
                             << "Error in Function GetRasDevices";
    QTest::newRow("second query") << QStringList{"fail RasEnumDevicesW 2 87"}
                                  << "Error in Function GetRasDevices";
    QTest::newRow("memory") << QStringList{"fail HeapAlloc 2 8"}
                            << "Error in Function GetRasDevices";
    QTest::newRow("newdev") << QStringList{} << "Error in Function newdev.dll";
}

void WindowTest::fatalBoxFromAPoolThread()
{
    QFETCH(QStringList, failures);
    QFETCH(QString, title);
    m_machine->setMachine(machineWithPhone() + failures);
    if (failures.isEmpty())
        m_machine->setMissingLibraries({"newdev"});
    QVERIFY(m_machine->start());
    QVERIFY(!startSetup(*m_machine).isEmpty());
    const QString box = m_machine->waitForWindow(title);
    QVERIFY(!box.isEmpty());
    m_machine->screenshot(QString("fatal-") + QTest::currentDataTag());
    m_machine->press(box, "Return");
    QCOMPARE(m_machine->waitForExit(), 0);
    QCOMPARE(m_machine->setting("NoOfDialups"), QString());
}

QTEST_GUILESS_MAIN(WindowTest)
#include "window_test.moc"
