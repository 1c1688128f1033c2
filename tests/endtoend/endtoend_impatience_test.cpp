// What an impatient person does with mouse and keyboard, on a simulated PC with
// the virtual phone, in a real window.

#include "tests/desktop/waiting.h"
#include "tests/endtoend/scenario.h"

#include <QTest>

class EndToEndImpatienceTest : public QObject
{
    Q_OBJECT

private slots:
    void popupOpenWhenTheCountdownEnds_data();
    void popupOpenWhenTheCountdownEnds();
    void doubleClickOnConnect();
    void doubleClickOnDisconnect();
    void doubleClickOnThePortCheck();
    void inputWhileHangingUp();
    void heldEnterOnRetry();
    void heldEnterOnRedial();
};

namespace {

// Each dial looks for the port once, and so does each start and port check.
const QByteArray portSearch = "Got Port  5\n";

/// When this returns, the program has taken everything that was typed and
/// clicked before: it takes one after the other.
void waitUntilInputIsTaken(const Session &session)
{
    expect(session.helpMenuOpens(patience), "The window does not answer");
}

void connectIt(Session &session)
{
    session.machine.startPhone();
    session.startProgram();
    session.pressButton();
    session.waitUntilConnected();
}

} // namespace

void EndToEndImpatienceTest::popupOpenWhenTheCountdownEnds_data()
{
    QTest::addColumn<bool>("list");
    QTest::newRow("operators") << true;
    QTest::newRow("help") << false;
}

// Whoever chooses an operator in these ten seconds must not lose the whole
// desktop to a phone that keeps silent.
void EndToEndImpatienceTest::popupOpenWhenTheCountdownEnds()
{
    QFETCH(bool, list);
    onPreparedPc(QString("popup-") + QTest::currentDataTag(), [list](Session &session) {
        session.machine.startPhone();
        session.machine.phone("set silent on");
        session.startProgram();
        session.mainWindow();
        QVERIFY(session.desktop.canGrabInput());
        if (list)
            session.openOperators();
        else
            session.openHelp();
        session.desktop.keepPicture("popup-open");
        // What the popup does, or this would show nothing.
        QVERIFY(!session.desktop.canGrabInput());
        waitFor("AT", [&] { return session.machine.heard() == "AT\\r"; });
        QVERIFY(session.shows(Face::PleaseWait));
        session.desktop.keepPicture("please-wait");
        QVERIFY(session.desktop.canGrabInput());
        session.machine.phone("set silent off");
        session.waitUntilConnected();
    });
}

// The first click dials and fails at once; the button is back before the second.
void EndToEndImpatienceTest::doubleClickOnConnect()
{
    onPreparedPc("double-click-connect", [](Session &session) {
        session.machine.startPhone();
        session.machine.pc({"fault", "add", "CreateFileW", "5"});
        session.startProgram();
        session.mainWindow();
        session.waitForFace(Face::ConnectNow);
        const int searches = session.machine.log().count(portSearch);
        session.doubleClickButton();
        waitUntilInputIsTaken(session);
        QCOMPARE(session.machine.log().count(portSearch), searches + 1);
        QVERIFY(session.shows(Face::ConnectNow));
        QCOMPARE(session.machine.heard(), QByteArray());
    });
}

// The first click's hang-up fails at once; the second's would not.
void EndToEndImpatienceTest::doubleClickOnDisconnect()
{
    onPreparedPc("double-click-disconnect", [](Session &session) {
        session.machine.pc({"fault", "add", "RasHangUpW", "6"});
        connectIt(session);
        const QByteArray search = "in isDialupConnectionConnected";
        const int searches = session.machine.log().count(search);
        session.doubleClickButton();
        waitUntilInputIsTaken(session);
        QCOMPARE(session.machine.log().count(search), searches + 1);
        QVERIFY(session.shows(Face::Disconnect));
        QCOMPARE(session.machine.connectionCount(), 1);
    });
}

void EndToEndImpatienceTest::doubleClickOnThePortCheck()
{
    onPreparedPc("double-click-port-check", [](Session &session) {
        session.startProgram();
        session.mainWindow();
        session.learnFace(Face::CheckConnection);
        session.machine.startPhone();
        session.doubleClickButton();
        session.waitForFace(Face::ConnectNow);
        waitUntilInputIsTaken(session);
        QCOMPARE(session.machine.log().count(portSearch), 1);
        QCOMPARE(session.machine.heard(), QByteArray());
    });
}

// A phone that does not answer makes the hang-up take its time.
void EndToEndImpatienceTest::inputWhileHangingUp()
{
    onPreparedPc("input-while-hanging-up", [](Session &session) {
        connectIt(session);
        session.machine.phone("set silent on");
        const QByteArray heard = session.machine.heard();
        const WindowId window = session.mainWindow();
        session.pressButton();
        session.waitForFace(Face::PleaseWait);
        // A hang-up is soon given up; all of this comes before.
        session.machine.pauseProgram();
        session.desktop.press({"Down", "Down", "space", "ctrl+n"});
        session.desktop.click(window, QPoint(100, 122)); // the operators
        session.desktop.click(window, QPoint(54, 10));   // Help
        session.pressButton();
        QVERIFY(session.shows(Face::PleaseWait));
        session.desktop.keepPicture("please-wait");
        session.machine.resumeProgram();
        session.waitForFace(Face::ConnectNow);
        QVERIFY(session.desktop.canGrabInput()); // nothing was opened
        session.desktop.keepPicture("disconnected");
        waitUntilInputIsTaken(session);
        QVERIFY(session.shows(Face::ConnectNow));
        QCOMPARE(session.machine.connectionCount(), 0);
        QCOMPARE(session.machine.heard(), heard + "+++");

        // The operator is the one that was chosen before: the next dial stores it.
        session.pressButton();
        waitFor("AT", [&] { return session.machine.heard() == heard + "+++AT\\r"; });
        QCOMPARE(session.machine.setting("CurrentMobileOperator").toString(),
                 QString("Banglalink"));
    });
}

// Each try starts the driver installer.
void EndToEndImpatienceTest::heldEnterOnRetry()
{
    onNewPc("held-enter-on-retry", [](Session &session) {
        session.machine.pc({"set", "administrator", "off"});
        session.startProgram();
        session.wizard();
        session.pressNext();
        session.waitForFailedStep();
        const auto tries = [&session] { return session.machine.log().count("SetupAllInfs"); };
        QCOMPARE(tries(), 1);
        session.desktop.hold("Return");
        // What is pressed next comes after all that.
        session.desktop.press("Escape");
        QCOMPARE(session.machine.waitForProgramEnd(patience), 0);
        QCOMPARE(tries(), 2);
    });
}

void EndToEndImpatienceTest::heldEnterOnRedial()
{
    onPreparedPc("held-enter-on-redial", [](Session &session) {
        session.machine.startPhone({"--error", "ATD"});
        session.startProgram();
        session.mainWindow();
        session.pressButton();
        session.waitForDialError();
        const auto dials = [&session] { return session.machine.heard().count("ATD"); };
        QCOMPARE(dials(), 1);
        session.desktop.hold("Return");
        session.waitForDialError();
        session.desktop.press("Escape");
        session.waitForFace(Face::ConnectNow);
        QCOMPARE(dials(), 2);
    });
}

QTEST_GUILESS_MAIN(EndToEndImpatienceTest)
#include "endtoend_impatience_test.moc"
