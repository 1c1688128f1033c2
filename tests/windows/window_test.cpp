// The packaged program's windows: menus, dialogs, display, icon, presets.

#include "tests/windows/expectations.h"
#include "tests/windows/phoneonport.h"
#include "tests/windows/scenario.h"
#include "tests/windows/winemachine.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSize>
#include <QTest>

class WindowTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase() { m_machine.reset(); }

    void menusAndDialogs();
    void secondStart();
    void secondStartBesideTheWizard();
    void secondStartAsAdministrator();
    void secondStartBesideABlockedWindow();
    void messagesAreKept();
    void settingsOfAnotherAccount();
    void scaledDisplay_data();
    void scaledDisplay();
    void iconOfTheWindow_data();
    void iconOfTheWindow();

private:
    std::unique_ptr<WineMachine> m_machine;
};

namespace {

/// Wine takes everybody for an administrator.
const QStringList withoutRights{"fail IsUserAnAdmin * 0"};

/// Starts the program beside the one that runs; the second one's exit code.
int startAgain(WineMachine &machine)
{
    return machine.run(machine.folder() + "\\TolvaneDialler.exe", {});
}

} // namespace

void WindowTest::initTestCase()
{
    m_machine = newMachine("window");
    m_machine->setWindowsVersion("win7");
}

void WindowTest::menusAndDialogs()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        setUpBefore(machine);
        // Connected, so that no countdown dials meanwhile.
        machine.setConnections({"TolvaneModem 1"});
        const WindowId window = machine.startUntil(mainTitle);
        machine.openMenu(window, "alt+f");
        desktop.keepPicture("menu-file");
        desktop.press("Right");
        desktop.keepPicture("menu-help");
        desktop.press("Return");
        const WindowId about = desktop.waitForWindow("About");
        desktop.keepPicture("dialog-about");
        desktop.pressIn(about, "Escape");
        desktop.waitForNoWindow("About");

        machine.openMenu(window, "alt+f");
        desktop.press({"Right", "Down", "Return"});
        const WindowId credits = desktop.waitForWindow("Credits");
        desktop.keepPicture("dialog-credits");
        desktop.pressIn(credits, "Escape");
        desktop.waitForNoWindow("Credits");
        desktop.close(window);
        QCOMPARE(machine.waitForExit(), 0);
    });
}

// The second one ends; the first one is one window as before, and in front.
void WindowTest::secondStart()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        machine.setMachine(machineWithPhone() + withoutRights);
        machine.setConnections({"TolvaneModem 1"});
        const WindowId window = machine.startUntil(mainTitle);
        machine.desktop.minimise(window);
        QCOMPARE(startAgain(machine), 0);
        QCOMPARE(machine.desktop.waitForWindow(mainTitle), window);
        machine.desktop.waitForFocus(window);
        QCOMPARE(machine.desktop.visibleTitles().count(mainTitle), 1);
        machine.desktop.keepPicture("second-start");
        // The first one makes the event, the second one finds it.
        const QStringList calls = machine.allCalls();
        QCOMPARE(calls.filter(QRegularExpression("^CreateEventW .*[0-9a-f]\" .* error=0$")).size(),
                 1);
        QCOMPARE(
            calls.filter(QRegularExpression("^CreateEventW .*[0-9a-f]\" .* error=183$")).size(), 1);
        QCOMPARE(calls.filter("AllowSetForegroundWindow process=0xFFFFFFFF -> result=1").size(), 1);
        QCOMPARE(calls.filter("SetEvent ").size(), 1);

        // Ended as by a crash, the first one keeps nobody out.
        machine.stop();
        machine.desktop.waitForNoWindow(mainTitle);
        machine.startUntil(mainTitle);
    });
}

// Another program is in front of it; a wizard cannot be minimised here. The
// keyboard stays where it was: that Wine does not pass on.
void WindowTest::secondStartBesideTheWizard()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        machine.startUntil(wizardTitle);
        const QString editorTitle = "Untitled - Notepad";
        ChildProcess editor;
        editor.start(qEnvironmentVariable("TMC_WINE"), {"notepad"});
        // They are listed from the lowest on.
        const auto topmost = [&machine] {
            const QStringList titles = machine.desktop.visibleTitles();
            return titles.isEmpty() ? QString() : titles.last();
        };
        waitFor(
            "The editor in front", [&] { return topmost() == editorTitle; },
            WineMachine::StartPatience);
        QCOMPARE(startAgain(machine), 0);
        waitFor("The wizard in front", [&] { return topmost() == wizardTitle; });
        machine.desktop.keepPicture("second-start-wizard");
        QCOMPARE(machine.desktop.visibleTitles().count(wizardTitle), 1);
        QVERIFY(machine.desktop.window(mainTitle).isEmpty());
    });
}

// The wizard without rights gives way to one that has them.
void WindowTest::secondStartAsAdministrator()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        machine.setMachine(machineWithPhone() + withoutRights);
        const WindowId first = machine.startUntil(wizardTitle);
        machine.setMachine(machineWithPhone());
        machine.startBeside();
        waitFor(
            "The end of the first one", [&machine] { return machine.hasEnded(); },
            WineMachine::StartPatience);
        QCOMPARE(machine.waitForExit(), 0);
        // The first one's window may outlive its process for a moment.
        waitFor(
            "The second wizard alone",
            [&] {
                const WindowId second = machine.desktop.window(wizardTitle);
                return !second.isEmpty() && second != first;
            },
            WineMachine::StartPatience);
        QCOMPARE(machine.desktop.visibleTitles().count(wizardTitle), 1);
        machine.desktop.keepPicture("as-administrator");
        // And holds the name: an ordinary start only tells it.
        machine.setMachine(machineWithPhone() + withoutRights);
        QCOMPARE(startAgain(machine), 0);
        QCOMPARE(machine.desktop.visibleTitles().count(wizardTitle), 1);
    });
}

// It waits for a phone that says nothing; the second one does not wait for it.
void WindowTest::secondStartBesideABlockedWindow()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        PhoneOnPort phone(machine);
        phone.plugIn({"set silent on"});
        setUpBefore(machine);
        const WindowId window = machine.startUntil(mainTitle);
        machine.desktop.pressUntil(window, "ctrl+c", "AT",
                                   [&] { return !phone.bytesFromPc().isEmpty(); });
        QCOMPARE(startAgain(machine), 0);
        QCOMPARE(phone.bytesFromPc().size(), 1);
        QCOMPARE(machine.desktop.visibleTitles().count(mainTitle), 1);
    });
}

void WindowTest::messagesAreKept()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        machine.setConnections({"TolvaneModem 1"});
        const WindowId window = machine.startUntil(mainTitle);
        machine.desktop.close(window);
        QCOMPARE(machine.waitForExit(), 0);
        const QStringList files = machine.messageFiles();
        QCOMPARE(files.size(), 1);
        QVERIFY(files.first().startsWith("Tolvane Modem Connector " WINDOWS_VERSION ", Windows"));
        QVERIFY(files.first().contains(" connection name in reg:  \"TolvaneModem 1\"\n"));
    });
}

// A set-up that another account did, copied to the place for presets.
void WindowTest::settingsOfAnotherAccount()
{
    onMachine(*m_machine, [&](WineMachine &machine) {
        setUpBefore(machine);
        const QString folder = machine.hostFolder() + "/settings/Brantiq Developer Network";
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QFile::rename(machine.settingsFile(), folder + "/Tolvane Modem Connector.ini"));
        machine.startUntil(mainTitle);
        QVERIFY(QDir(folder).removeRecursively());
        QVERIFY(machine.debug().contains("connection name in reg:  \"TolvaneModem 1\"\n"));
    });
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
    onMachine(*m_machine, [&](WineMachine &machine) {
        Desktop &desktop = machine.desktop;
        machine.setScaling(percent);
        setUpBefore(machine);
        const WindowId window = machine.startUntil(mainTitle);
        machine.setScaling(100);

        // The form's size and a frame around it.
        const QSize form = QSize(522, 288) * percent / 100;
        const QSize frame = QSize(40, 80) * percent / 100;
        const QSize size = desktop.size(window);
        QVERIFY2(size.expandedTo(form) == size && size.boundedTo(form + frame) == size,
                 qPrintable(QString("%1 x %2").arg(size.width()).arg(size.height())));
        desktop.keepPicture(QString("scaled-%1-window").arg(percent));
        desktop.pressIn(window, "ctrl+n");
        desktop.waitForWindow(wizardTitle);
        desktop.keepPicture(QString("scaled-%1-wizard").arg(percent));
    });
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
    onMachine(*m_machine, [&](WineMachine &machine) {
        const QString file = machine.driveC() + "/48x48.ico";
        if (fileInWorkingDirectory)
            runOnHost("convert", {"-size", "48x48", "xc:#13579b", "ico:" + file});
        setUpBefore(machine);
        const WindowId window = machine.startUntil(mainTitle);
        QFile::remove(file);
        const auto pixels = [&window] {
            return runOnHost("xprop", {"-id", window, "-notype", "-f", "_NET_WM_ICON", "32c",
                                       " $0+", "_NET_WM_ICON"});
        };
        waitFor("The icon", [&] { return pixels().contains(','); });
        // As the window manager is given it.
        const QString colour = QString::number(0xff13579bU);
        const QStringList values = pixels().section("_NET_WM_ICON", 1).remove(' ').split(',');
        QVERIFY2(values.contains(colour) == fileInWorkingDirectory, qPrintable(values.join(' ')));
        QVERIFY(values.size() > 2 + 16 * 16);
    });
}

QTEST_GUILESS_MAIN(WindowTest)
#include "window_test.moc"
