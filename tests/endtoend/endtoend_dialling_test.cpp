// The system's dial dialog and the window behind it, which stays alive, on a
// simulated PC with the virtual phone.

#include "tests/desktop/waiting.h"
#include "tests/endtoend/scenario.h"

#include <QTest>

class EndToEndDiallingTest : public QObject
{
    Q_OBJECT

private slots:
    void cancelled();
    void redial();
    void inputForTheWindowBehind();
    void closedAndConnected();
    void closedAndCancelled();
};

namespace {

constexpr int Moment = 700; // milliseconds; a menu opens in a tenth of it

/// Starts, connects, and stops where the phone has been told the number. The
/// dial waits for its answer as long as it takes.
WindowId startAndHold(Session &session)
{
    session.machine.pc({"set", "answer-timeout", "600000"});
    session.machine.startPhone();
    session.slowPhone();
    session.startProgram();
    session.pressButton();
    return session.holdDial();
}

} // namespace

void EndToEndDiallingTest::cancelled()
{
    onPreparedPc("cancelled", [](Session &session) {
        startAndHold(session);
        session.desktop.keepPicture("dialling");
        session.cancelDial();
        session.waitForFace(Face::ConnectNow);
        session.desktop.keepPicture("disconnected");
        // The call attempt was broken off. The silent phone did not notice.
        QVERIFY(session.machine.heard().endsWith("ATD*99#\\r\\r"));
        session.machine.phone("unplug");
        session.letDialGoOn();
        session.machine.phone("plug");
        session.pressButton();
        session.waitUntilConnected();
    });
}

void EndToEndDiallingTest::redial()
{
    onPreparedPc("redial", [](Session &session) {
        startAndHold(session);
        session.machine.phone("unplug");
        session.waitForDialError();
        session.desktop.keepPicture("unplugged");
        session.letDialGoOn();
        session.machine.phone("plug");
        session.pressRedial();
        session.waitUntilConnected();
    });
}

// What is pressed in the window meanwhile goes to Please Wait.
void EndToEndDiallingTest::inputForTheWindowBehind()
{
    onPreparedPc("input-behind", [](Session &session) {
        const WindowId dialog = startAndHold(session);
        // Above the line that tells the state, which may still change.
        const QRect top(0, 0, session.desktop.size(dialog).width(), 48);
        const QImage shown = session.desktop.picture(dialog, top);
        const QByteArray heard = session.machine.heard();
        const WindowId window = session.desktop.waitForWindow(MainTitle);
        session.desktop.pressIn(window, {"Down", "space", "ctrl+c", "ctrl+n"});
        QVERIFY(!session.helpMenuOpens(Moment));
        session.desktop.keepPicture("dialling");
        // The window has the keyboard and does not cover the dialog.
        QCOMPARE(session.desktop.picture(dialog, top), shown);
        session.letDialGoOn();
        session.waitUntilConnected();
        QVERIFY(session.desktop.window(WizardTitle).isEmpty());
        QCOMPARE(session.machine.heard(), heard);
        QVERIFY(session.helpMenuOpens(patience));
        QCOMPARE(session.machine.setting("CurrentMobileOperator").toString(),
                 QString("Banglalink"));
    });
}

// Nothing may stay connected with no window to hang up by.
void EndToEndDiallingTest::closedAndConnected()
{
    onPreparedPc("closed-and-connected", [](Session &session) {
        startAndHold(session);
        session.desktop.askToClose(session.desktop.waitForWindow(MainTitle));
        QVERIFY(!session.helpMenuOpens(Moment));
        session.desktop.keepPicture("closed");
        session.letDialGoOn();
        session.waitUntilConnected();
        session.desktop.keepPicture("connected");
        session.pressButton();
        session.waitForFace(Face::ConnectNow);
        QCOMPARE(session.machine.connectionCount(), 0);
        QVERIFY(session.machine.isProgramRunning());
    });
}

void EndToEndDiallingTest::closedAndCancelled()
{
    onPreparedPc("closed-and-cancelled", [](Session &session) {
        startAndHold(session);
        session.desktop.askToClose(session.desktop.waitForWindow(MainTitle));
        session.cancelDial();
        QCOMPARE(session.machine.waitForProgramEnd(patience), 0);
        QCOMPARE(session.machine.connectionCount(), 0);
    });
}

QTEST_GUILESS_MAIN(EndToEndDiallingTest)
#include "endtoend_dialling_test.moc"
