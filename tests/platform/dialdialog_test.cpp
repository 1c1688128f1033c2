// The dial dialog of the machines that are not Windows, over a dialler that does
// what the test says.

#include "tests/platform/besideawizard.h"
#include "tests/platform/dialdialog.h"

#include <QClipboard>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTest>
#include <QWindow>

using namespace platform;

namespace {

class ToldDialler : public Dialler
{
public:
    void start() override
    {
        ++starts;
        m_isRunning = true;
        emit progressed("Dialling...");
    }
    void stop() override { stops += m_isRunning ? 1 : 0; }
    bool isRunning() const override { return m_isRunning; }
    bool takesSignIn() const override { return canSignIn || Dialler::takesSignIn(); }
    void setSignIn(const QString &name, const QString &password) override
    {
        signIns += name + '/' + password;
    }

    void connectNow()
    {
        m_isRunning = false;
        emit connected();
    }
    void failNow(DWORD code, const QString &text, const QString &details = {},
                 bool needsSetUp = false)
    {
        m_isRunning = false;
        emit failed({code, text, details, needsSetUp});
    }

    int starts = 0;
    int stops = 0;
    bool canSignIn = true;
    QStringList signIns;

private:
    bool m_isRunning = false;
};

constexpr bool AsksFirst = true;

} // namespace

class DialDialogTest : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_dialler = std::make_unique<ToldDialler>(); }

    void dialsAtOnce();
    void asksFirst();
    void dialsAgainAfterAFailure();
    void isLeftAfterAFailure();
    void givesUp_data();
    void givesUp();
    void connectsAfterItWasGivenUp();
    void lastsUntilTheProgramEnds();
    void keepsNoWindowFromWorking();
    void endsNothingBesideAWizard();
    void impatientKeysDoNotGiveUp();
    void aHeldKeyDialsOnce();
    void longTextsDoNotWidenIt();
    void namesAreNoMarkup();
    void detailsUnfoldAndAreCopied();
    void nameAndPasswordAreAskedFor();
    void nobodyIsAskedForWhatIsNotTaken();
    void setUpIsOffered_data();
    void setUpIsOffered();

private:
    /// Runs a dialog with what is played in it.
    bool run(bool asksFirst, const std::function<void(DialDialog *)> &play)
    {
        m_dialog = std::make_unique<DialDialog>("Connect Entry", "Entry", "*99#", m_dialler.get());
        inDialDialog(play);
        return m_dialog->run(asksFirst);
    }

    std::unique_ptr<ToldDialler> m_dialler;
    std::unique_ptr<DialDialog> m_dialog;
};

void DialDialogTest::dialsAtOnce()
{
    QStringList seen;
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QCOMPARE(m_dialler->starts, 1);
        seen << dialog->windowTitle() << dialog->findChild<QLabel *>("entryLabel")->text()
             << dialog->findChild<QLabel *>("numberLabel")->text() << status(dialog);
        QVERIFY(!dialButton(dialog)->isVisible());
        QVERIFY(cancelButton(dialog)->isEnabled());
        m_dialler->connectNow();
    }));
    QCOMPARE(seen, QStringList({"Connect Entry", "Entry", "*99#", "Dialling..."}));
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(m_dialog->lastError(), DWORD(Success));
    QVERIFY(!m_dialog->wasGivenUp());
}

void DialDialogTest::asksFirst()
{
    QVERIFY(run(AsksFirst, [&](DialDialog *dialog) {
        QCOMPARE(m_dialler->starts, 0);
        QCOMPARE(status(dialog), QString("Press Dial to connect."));
        QCOMPARE(dialButton(dialog)->text(), QString("&Dial"));
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(m_dialler->starts, 1);
        QCOMPARE(status(dialog), QString("Dialling..."));
        QVERIFY(!dialButton(dialog)->isVisible());
        m_dialler->connectNow();
    }));
    QVERIFY(!run(AsksFirst, [&](DialDialog *dialog) { cancelButton(dialog)->click(); }));
    QCOMPARE(m_dialler->starts, 1);
    QVERIFY(!m_dialog->wasGivenUp());
}

void DialDialogTest::dialsAgainAfterAFailure()
{
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        m_dialler->failNow(678, "There was no answer.");
        QVERIFY(dialog->isVisible());
        QCOMPARE(status(dialog), QString("Error 678: There was no answer."));
        QCOMPARE(dialog->lastError(), DWORD(678));
        QCOMPARE(dialButton(dialog)->text(), QString("Re&dial"));
        QVERIFY(dialButton(dialog)->isVisible() && dialButton(dialog)->isDefault());
        QCOMPARE(QApplication::focusWidget(), dialButton(dialog));
        dialButton(dialog)->click();
        QCOMPARE(m_dialler->starts, 2);
        QCOMPARE(status(dialog), QString("Dialling..."));
        QVERIFY(!dialButton(dialog)->isVisible());
        m_dialler->connectNow();
    }));
    QCOMPARE(m_dialog->lastError(), DWORD(Success));
}

void DialDialogTest::isLeftAfterAFailure()
{
    QVERIFY(!run(!AsksFirst, [&](DialDialog *dialog) {
        m_dialler->failNow(676, "The line is busy.");
        cancelButton(dialog)->click();
    }));
    QCOMPARE(m_dialler->stops, 0);
    QCOMPARE(m_dialog->lastError(), DWORD(676));
    QVERIFY(!m_dialog->wasGivenUp());
}

void DialDialogTest::givesUp_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("Cancel") << 0;
    QTest::newRow("Escape") << 1;
    QTest::newRow("the frame's button") << 2;
}

// The dialog stays until the line is free.
void DialDialogTest::givesUp()
{
    QFETCH(int, way);
    QVERIFY(!run(!AsksFirst, [&](DialDialog *dialog) {
        const auto giveUp = [&] {
            if (way == 0)
                cancelButton(dialog)->click();
            else if (way == 1)
                QTest::keyClick(dialog, Qt::Key_Escape);
            else
                dialog->close();
        };
        giveUp();
        QVERIFY(dialog->isVisible());
        QCOMPARE(status(dialog), QString("Hanging up..."));
        giveUp();
        QCOMPARE(m_dialler->stops, 1);
        m_dialler->failNow(631, "Dialling was stopped.");
    }));
    QVERIFY(m_dialog->wasGivenUp());
    QCOMPARE(m_dialog->lastError(), DWORD(Success)); // nothing failed
}

void DialDialogTest::connectsAfterItWasGivenUp()
{
    QVERIFY(!run(!AsksFirst, [&](DialDialog *dialog) {
        cancelButton(dialog)->click();
        m_dialler->connectNow();
    }));
    QVERIFY(m_dialog->wasGivenUp());
}

// Nothing may dial on behind a program that has ended.
void DialDialogTest::lastsUntilTheProgramEnds()
{
    bool connected = true;
    QTimer::singleShot(0, this, [&] {
        connected = run(!AsksFirst, [](DialDialog *) { QCoreApplication::exit(2); });
    });
    QCOMPARE(QApplication::exec(), 2);
    QVERIFY(!connected);
    QCOMPARE(m_dialler->stops, 1);
    QVERIFY(m_dialog->wasGivenUp());
    QVERIFY(!m_dialog->isVisible());
}

void DialDialogTest::keepsNoWindowFromWorking()
{
    QPushButton other("Other");
    other.show();
    int pressed = 0;
    connect(&other, &QPushButton::clicked, this, [&] { ++pressed; });
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(!QApplication::activeModalWidget());
        QVERIFY(!dialog->windowHandle()->transientParent());
        QTest::mouseClick(&other, Qt::LeftButton);
        QCOMPARE(pressed, 1);
        bool due = false;
        QTimer::singleShot(0, this, [&due] { due = true; });
        QTRY_VERIFY(due);
        m_dialler->connectNow();
    }));
}

void DialDialogTest::endsNothingBesideAWizard()
{
    QVERIFY(endsNothing(
        [&] { run(AsksFirst, [](DialDialog *dialog) { cancelButton(dialog)->click(); }); }));
}

// The second press of a key that was meant for Connect Now.
void DialDialogTest::impatientKeysDoNotGiveUp()
{
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(QApplication::focusWidget(), key);
        QCOMPARE(m_dialler->stops, 0);
        QCOMPARE(m_dialler->starts, 1);
        // The key that leads to Cancel, for whoever has no mouse.
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), cancelButton(dialog));
        m_dialler->connectNow();
    }));
}

void DialDialogTest::aHeldKeyDialsOnce()
{
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        m_dialler->failNow(633, "The modem is already in use or not connected.");
        const auto press = [](bool again) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, "\r", again);
            QCoreApplication::sendEvent(QApplication::focusWidget(), &event);
        };
        press(true);
        QCOMPARE(m_dialler->starts, 1);
        press(false);
        QCOMPARE(m_dialler->starts, 2);
        m_dialler->connectNow();
    }));
}

void DialDialogTest::longTextsDoNotWidenIt()
{
    const QSize size = DialDialog("Connect Entry", "Entry", "*99#", m_dialler.get()).sizeHint();
    const DialDialog dialog("Connect Entry", QString(256, 'W'), QString(128, '8'), m_dialler.get());
    QCOMPARE(dialog.sizeHint(), size);
}

void DialDialogTest::namesAreNoMarkup()
{
    const DialDialog dialog("Connect", "<b>Entry</b>", "<i>1</i>", m_dialler.get());
    for (const QLabel *label : dialog.findChildren<QLabel *>()) {
        if (!label->objectName().isEmpty())
            QCOMPARE(label->textFormat(), Qt::PlainText);
    }
    QCOMPARE(dialog.findChild<QLabel *>("entryLabel")->text(), QString("<b>Entry</b>"));
}

void DialDialogTest::detailsUnfoldAndAreCopied()
{
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        auto *button = dialog->findChild<QPushButton *>("detailsButton");
        auto *text = dialog->findChild<QPlainTextEdit *>("detailsText");
        auto *copy = dialog->findChild<QPushButton *>("copyButton");
        QVERIFY(!button->isVisible() && !text->isVisible());
        const QSize folded = dialog->size();
        m_dialler->failNow(635, "It failed.");
        QVERIFY(!button->isVisible()); // nothing was said
        dialButton(dialog)->click();
        m_dialler->failNow(635, "It failed.", "Connect: ppp0\n<b>Modem hangup</b>");
        QVERIFY(button->isVisible() && !text->isVisible());
        QCOMPARE(dialog->size(), folded);
        const QPoint place = dialButton(dialog)->pos();
        button->click();
        QVERIFY(text->isVisible());
        QVERIFY(dialog->height() > folded.height());
        QCOMPARE(dialButton(dialog)->pos(), place);
        QCOMPARE(text->toPlainText(), QString("Connect: ppp0\n<b>Modem hangup</b>"));
        copy->click();
        QCOMPARE(QGuiApplication::clipboard()->text(), text->toPlainText());
        // Enter dials again, whatever has the keyboard.
        QVERIFY(!copy->autoDefault() && !button->autoDefault());
        button->click();
        QCOMPARE(dialog->size(), folded);
        button->click();
        dialButton(dialog)->click(); // the next dial has said nothing yet
        QVERIFY(!button->isVisible() && !text->isVisible());
        QCOMPARE(dialog->size(), folded);
        m_dialler->connectNow();
    }));
}

void DialDialogTest::nameAndPasswordAreAskedFor()
{
    QVERIFY(run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        auto *name = dialog->findChild<QLineEdit *>("nameEdit");
        auto *password = dialog->findChild<QLineEdit *>("passwordEdit");
        const QPoint place = cancelButton(dialog)->pos();
        m_dialler->failNow(676, "The line is busy.");
        QVERIFY(!name->isVisible());
        dialButton(dialog)->click();
        m_dialler->failNow(691, "The network wants a name.");
        QVERIFY(name->isVisible() && password->isVisible());
        QCOMPARE(password->echoMode(), QLineEdit::Password);
        QCOMPARE(cancelButton(dialog)->pos(), place);
        QCOMPARE(QApplication::focusWidget(), name);
        // Whoever types nothing dials as before.
        dialButton(dialog)->click();
        QCOMPARE(m_dialler->signIns, QStringList());
        m_dialler->failNow(691, "The network wants a name.");
        QTest::keyClicks(QApplication::focusWidget(), "anna");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QTest::keyClicks(QApplication::focusWidget(), "wrong");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(m_dialler->starts, 4);
        QVERIFY(!name->isVisible());
        m_dialler->failNow(691, "The network wants a name.");
        // The name is there still, and the password is typed over.
        QCOMPARE(QApplication::focusWidget(), password);
        QTest::keyClicks(QApplication::focusWidget(), "right");
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(m_dialler->signIns, QStringList({"anna/wrong", "anna/right"}));
        m_dialler->connectNow();
    }));
}

void DialDialogTest::nobodyIsAskedForWhatIsNotTaken()
{
    m_dialler->canSignIn = false;
    QVERIFY(!run(!AsksFirst, [&](DialDialog *dialog) {
        m_dialler->failNow(691, "The network wants a name.");
        QVERIFY(!dialog->findChild<QLineEdit *>("nameEdit")->isVisible());
        cancelButton(dialog)->click();
    }));
}

void DialDialogTest::setUpIsOffered_data()
{
    QTest::addColumn<bool>("isTaken");
    QTest::addColumn<int>("error");
    QTest::newRow("taken") << true << 623;
    QTest::newRow("not taken") << false << 631;
}

void DialDialogTest::setUpIsOffered()
{
    QFETCH(bool, isTaken);
    QFETCH(int, error);
    QVERIFY(!run(!AsksFirst, [&](DialDialog *dialog) {
        QVERIFY(QTest::qWaitForWindowActive(dialog));
        m_dialler->failNow(633, "The modem is missing.", {}, true);
        QCOMPARE(dialButton(dialog)->text(), QString("&Set Up"));
        QCOMPARE(QApplication::focusWidget(), dialButton(dialog));
        (isTaken ? dialButton(dialog) : cancelButton(dialog))->click();
    }));
    QCOMPARE(m_dialler->starts, 1);
    QCOMPARE(m_dialog->lastError(), DWORD(error));
    QVERIFY(!m_dialog->wasGivenUp());
}

QTEST_MAIN(DialDialogTest)
#include "dialdialog_test.moc"
