// The program started a second time beside the first, on a simulated PC with the
// virtual phone, in a real window.

#include "tests/desktop/waiting.h"
#include "tests/endtoend/scenario.h"

#include <QElapsedTimer>
#include <QTest>

class EndToEndSecondStartTest : public QObject
{
    Q_OBJECT

private slots:
    void besideTheWindow();
    void besideAMinimisedWindow();
    void besideTheWizard();
    void besideABlockedWindow();
    void asAdministratorBesideTheWizard();
    void asAdministratorBesideTheWindow();
    void asAdministratorBesideAConnection();
    void asAdministratorBesideABlockedWindow();
    void afterACrash();
    void afterTheEnd();
    void ofAnotherUser();
    void onAnotherDisplay();
    void messagesAreKept();
};

namespace {

/// Starts the program again and sees the second one end well, and soon.
void startAgain(const Session &session)
{
    QElapsedTimer timer;
    timer.start();
    const int exitCode = session.machine.startAgain(session.desktop);
    qInfo("The second start took %d ms", static_cast<int>(timer.elapsed()));
    expect(exitCode == 0, QString("The second start ended with code %1").arg(exitCode));
}

void startWithoutRights(Session &session)
{
    session.machine.pc({"set", "administrator", "off"});
    session.machine.startPhone();
    session.startProgram();
}

/// Starts the program as an administrator and sees the one without rights end.
void startOverAsAdministrator(Session &session)
{
    session.machine.pc({"set", "administrator", "on"});
    session.machine.startBeside(session.desktop);
    expect(session.machine.waitForProgramEnd(patience) == 0, "The first program did not end well");
}

int countOf(const Session &session, const char *title)
{
    return static_cast<int>(session.desktop.visibleTitles().count(title));
}

} // namespace

// Two windows that count down would both dial.
void EndToEndSecondStartTest::besideTheWindow()
{
    onPreparedPc("beside-the-window", [](Session &session) {
        session.machine.startPhone();
        session.startProgram();
        session.mainWindow();
        startAgain(session);
        QCOMPARE(countOf(session, MainTitle), 1);
        session.waitUntilConnected();
        QCOMPARE(session.machine.heard(), heardWhenDialling("blweb"));
        startAgain(session);
        QCOMPARE(countOf(session, MainTitle), 1);
        QVERIFY(session.shows(Face::Disconnect));
    });
}

void EndToEndSecondStartTest::besideAMinimisedWindow()
{
    onPreparedPc("beside-a-minimised-window", [](Session &session) {
        session.startProgram();
        const WindowId window = session.mainWindow();
        session.desktop.minimise(window);
        QCOMPARE(countOf(session, MainTitle), 0);
        startAgain(session);
        session.desktop.waitForWindow(MainTitle);
        session.desktop.waitForFocus(window);
        session.desktop.keepPicture("in-front");
    });
}

void EndToEndSecondStartTest::besideTheWizard()
{
    onNewPc("beside-the-wizard", [](Session &session) {
        session.startProgram();
        const WindowId wizard = session.wizard();
        session.desktop.minimise(wizard);
        startAgain(session);
        session.desktop.waitForFocus(wizard);
        QCOMPARE(countOf(session, WizardTitle), 1);
        QCOMPARE(countOf(session, MainTitle), 0);
        session.desktop.keepPicture("in-front");
        // Nothing but the wizard was there, and so it is the end.
        session.pressCancel();
        QCOMPARE(session.machine.waitForProgramEnd(patience), 0);
    });
}

// The first one waits for a phone that says nothing; the second one does not
// wait for the first.
void EndToEndSecondStartTest::besideABlockedWindow()
{
    onPreparedPc("beside-a-blocked-window", [](Session &session) {
        session.machine.startPhone();
        session.startProgram();
        session.mainWindow();
        session.blockWindow();
        startAgain(session);
        startAgain(session);
        QCOMPARE(countOf(session, MainTitle), 1);
        QVERIFY(session.shows(Face::PleaseWait));
        session.machine.phone("set silent off");
        session.waitUntilConnected();
        QCOMPARE(session.machine.heard(), heardWhenDialling("blweb"));
        QCOMPARE(countOf(session, MainTitle), 1);
    });
}

// What the wizard asks for when a step has failed for lack of rights.
void EndToEndSecondStartTest::asAdministratorBesideTheWizard()
{
    onNewPc("administrator-beside-the-wizard", [](Session &session) {
        startWithoutRights(session);
        session.wizard();
        session.pressNext();
        session.waitForFailedStep();
        session.desktop.keepPicture("without-rights");
        startOverAsAdministrator(session);
        session.goThroughWizard();
        session.mainWindow();
        QCOMPARE(countOf(session, WizardTitle), 0);
        QCOMPARE(countOf(session, MainTitle), 1);
        session.desktop.keepPicture("set-up");
    });
}

// It counts down anew, and one of the two dials.
void EndToEndSecondStartTest::asAdministratorBesideTheWindow()
{
    onPreparedPc("administrator-beside-the-window", [](Session &session) {
        startWithoutRights(session);
        session.mainWindow();
        startOverAsAdministrator(session);
        session.mainWindow();
        session.waitUntilConnected();
        QCOMPARE(session.machine.heard(), heardWhenDialling("blweb"));
        QCOMPARE(countOf(session, MainTitle), 1);
    });
}

void EndToEndSecondStartTest::asAdministratorBesideAConnection()
{
    onPreparedPc("administrator-beside-a-connection", [](Session &session) {
        startWithoutRights(session);
        session.mainWindow();
        session.pressButton();
        session.waitUntilConnected();
        session.machine.pc({"set", "administrator", "on"});
        startAgain(session);
        QCOMPARE(countOf(session, MainTitle), 1);
        QVERIFY(session.shows(Face::Disconnect));
        QVERIFY(session.machine.isProgramRunning());
        QCOMPARE(session.machine.connectionCount(), 1);
    });
}

// It gives up waiting; the first one goes on when the phone answers.
void EndToEndSecondStartTest::asAdministratorBesideABlockedWindow()
{
    onPreparedPc("administrator-beside-a-blocked-window", [](Session &session) {
        startWithoutRights(session);
        session.mainWindow();
        session.blockWindow();
        session.machine.pc({"set", "administrator", "on"});
        startAgain(session);
        QVERIFY(session.shows(Face::PleaseWait));
        session.machine.phone("set silent off");
        session.waitUntilConnected();
        QVERIFY(session.machine.isProgramRunning());
    });
}

void EndToEndSecondStartTest::afterACrash()
{
    onPreparedPc("after-a-crash", [](Session &session) {
        session.startProgram();
        session.mainWindow();
        session.machine.crashProgram();
        session.desktop.waitForNoWindow(MainTitle);
        session.startProgram();
        session.mainWindow();
    });
}

void EndToEndSecondStartTest::afterTheEnd()
{
    onPreparedPc("after-the-end", [](Session &session) {
        for (int start = 0; start < 3; ++start) {
            session.startProgram();
            closeProgram(session);
        }
    });
}

// Each has settings of his own. On one display, as after "su".
void EndToEndSecondStartTest::ofAnotherUser()
{
    onPreparedPc("of-another-user", [](Session &session) {
        session.startProgram();
        session.mainWindow();
        Machine another(session.machine.directory() + "/another");
        another.becomeCopyOf(session.machine);
        another.startProgram(session.desktop);
        waitFor("Two windows", [&] { return countOf(session, MainTitle) == 2; });
    });
}

// A window there is of no use to somebody who sits here.
void EndToEndSecondStartTest::onAnotherDisplay()
{
    onPreparedPc("on-another-display", [](Session &session) {
        session.startProgram();
        session.mainWindow();
        const Desktop other(session.machine.directory() + "/other");
        session.machine.startBeside(other);
        other.waitForWindow(MainTitle);
        QCOMPARE(countOf(session, MainTitle), 1);
    });
}

// What the first one logged and printed, and nothing of the second.
void EndToEndSecondStartTest::messagesAreKept()
{
    onPreparedPc("messages", [](Session &session) {
        session.machine.startPhone();
        session.startProgram();
        session.mainWindow();
        startAgain(session);
        session.pressButton();
        session.waitUntilConnected();
        closeProgram(session);
        const QStringList files = session.machine.messageFiles();
        QCOMPARE(files.size(), 1);
        for (const char *text :
             {"Tolvane Modem Connector ", " Got Port  5\n",
              " connection name in reg:  \"TolvaneModem 1\"\n",
              " Msg from  isDialupConnectionConnected  -  \"No of Connections = 0\"\n", " OK\n"})
            QVERIFY2(files.first().contains(text), text);
        QVERIFY(!files.first().contains("running already"));
    });
}

QTEST_GUILESS_MAIN(EndToEndSecondStartTest)
#include "endtoend_secondstart_test.moc"
