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
    void inputWhileHangingUp();
};

namespace {

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
    session.dial();
    session.waitForFace(Face::Disconnect);
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
        session.dial();
        session.waitForFace(Face::Disconnect);
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
        session.desktop.press({"Down", "Down", "space", "ctrl+n"});
        session.desktop.click(window, QPoint(100, 122)); // the operators
        session.desktop.click(window, QPoint(54, 10));   // Help
        session.pressButton();
        QVERIFY(session.shows(Face::PleaseWait));
        session.desktop.keepPicture("please-wait");
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

QTEST_GUILESS_MAIN(EndToEndImpatienceTest)
#include "endtoend_impatience_test.moc"
