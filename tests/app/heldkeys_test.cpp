// A key that is held down, as the toolkit reports it and as X does.

#include "app/heldkeys.h"

#include <QApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QVBoxLayout>

namespace {

/// How the repetitions come.
enum class Reported {
    Yes, ///< the toolkit says so
    No   ///< only their times tell
};

void send(QEvent::Type type, QWidget *receiver, int key, quint64 time, bool isAutoRepeat)
{
    const QString text = key == Qt::Key_Space ? " " : key == Qt::Key_A ? "a" : "\r";
    QKeyEvent event(type, key, Qt::NoModifier, text, isAutoRepeat);
    event.setTimestamp(static_cast<unsigned long>(time));
    QCoreApplication::sendEvent(receiver, &event);
}

/// Presses a key at the second 1, repeats it three times and releases it.
void hold(QWidget *receiver, int key, Reported reported)
{
    const bool isAutoRepeat = reported == Reported::Yes;
    quint64 time = 1000;
    send(QEvent::KeyPress, receiver, key, time, false);
    for (int i = 0; i < 3; ++i) {
        time += 40;
        send(QEvent::KeyRelease, receiver, key, time, isAutoRepeat);
        send(QEvent::KeyPress, receiver, key, time, isAutoRepeat);
    }
    send(QEvent::KeyRelease, receiver, key, time + 10, false);
}

} // namespace

Q_DECLARE_METATYPE(Reported)

class HeldKeysTest : public QObject
{
    Q_OBJECT

private slots:
    void actsOnce_data();
    void actsOnce();
    void twoPressesActTwice();
    void aLinkOpensOnce_data() { reports(); }
    void aLinkOpensOnce();
    void theDefaultButtonIsPressedOnce_data() { reports(); }
    void theDefaultButtonIsPressedOnce();
    void aListMovesOn_data() { reports(); }
    void aListMovesOn();
    void textIsRepeated_data() { reports(); }
    void textIsRepeated();
    void aShortcutActsOnce();
    void aLineOfTextKeepsItsKeys();
    void theMouseStillWorks();

private:
    static void reports();
};

void HeldKeysTest::reports()
{
    QTest::addColumn<Reported>("reported");
    QTest::newRow("reported") << Reported::Yes;
    QTest::newRow("by the time") << Reported::No;
}

void HeldKeysTest::actsOnce_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<Reported>("reported");
    QTest::newRow("Enter") << int(Qt::Key_Return) << Reported::Yes;
    QTest::newRow("Enter, by the time") << int(Qt::Key_Return) << Reported::No;
    QTest::newRow("Enter of the digits") << int(Qt::Key_Enter) << Reported::No;
    QTest::newRow("Select, of a keypad") << int(Qt::Key_Select) << Reported::No;
    QTest::newRow("Space") << int(Qt::Key_Space) << Reported::Yes;
    QTest::newRow("Space, by the time") << int(Qt::Key_Space) << Reported::No;
}

void HeldKeysTest::actsOnce()
{
    QFETCH(const int, key);
    QFETCH(const Reported, reported);
    const HeldKeys heldKeys;
    QPushButton button;
    button.setAutoDefault(true);
    int presses = 0;
    connect(&button, &QPushButton::clicked, &button, [&presses] { ++presses; });
    hold(&button, key, reported);
    QCOMPARE(presses, 1);
}

void HeldKeysTest::twoPressesActTwice()
{
    const HeldKeys heldKeys;
    QPushButton button;
    button.setAutoDefault(true);
    int presses = 0;
    connect(&button, &QPushButton::clicked, &button, [&presses] { ++presses; });
    // The times of a display that tells none are all 0.
    for (const quint64 start : {1000U, 0U}) {
        const quint64 step = start == 0 ? 0 : 10;
        for (quint64 i = 0; i < 2; ++i) {
            send(QEvent::KeyPress, &button, Qt::Key_Return, start + 2 * i * step, false);
            send(QEvent::KeyRelease, &button, Qt::Key_Return, start + (2 * i + 1) * step, false);
        }
    }
    QCOMPARE(presses, 4);
}

void HeldKeysTest::aLinkOpensOnce()
{
    QFETCH(const Reported, reported);
    const HeldKeys heldKeys;
    QLabel label("<a href=\"https://www.brantiq.example/\">Link</a>");
    label.setTextInteractionFlags(Qt::LinksAccessibleByKeyboard | Qt::LinksAccessibleByMouse);
    int opened = 0;
    connect(&label, &QLabel::linkActivated, &label, [&opened] { ++opened; });
    label.show();
    QVERIFY(QTest::qWaitForWindowActive(&label));
    QTest::keyClick(&label, Qt::Key_Tab); // to the link
    hold(&label, Qt::Key_Return, reported);
    QCOMPARE(opened, 1);
}

// The dialog presses it, not the widget that has the keyboard.
void HeldKeysTest::theDefaultButtonIsPressedOnce()
{
    QFETCH(const Reported, reported);
    const HeldKeys heldKeys;
    QDialog dialog;
    auto *layout = new QVBoxLayout(&dialog);
    auto *inner = new QWidget;
    auto *button = new QPushButton;
    layout->addWidget(inner);
    layout->addWidget(button);
    button->setDefault(true);
    int presses = 0;
    connect(button, &QPushButton::clicked, &dialog, [&presses] { ++presses; });
    dialog.show();
    hold(inner, Qt::Key_Return, reported);
    QCOMPARE(presses, 1);
}

void HeldKeysTest::aListMovesOn()
{
    QFETCH(const Reported, reported);
    const HeldKeys heldKeys;
    QListWidget list;
    list.addItems({"1", "2", "3", "4", "5", "6"});
    list.setCurrentRow(0);
    hold(&list, Qt::Key_Down, reported);
    QCOMPARE(list.currentRow(), 4);
}

void HeldKeysTest::textIsRepeated()
{
    QFETCH(const Reported, reported);
    const HeldKeys heldKeys;
    QLineEdit line;
    hold(&line, Qt::Key_A, reported);
    QCOMPARE(line.text(), QString("aaaa"));
    line.clear();
    hold(&line, Qt::Key_Space, reported);
    QCOMPARE(line.text(), QString("    "));
}

// What the toolkit asks before it looks for a shortcut. Those that it takes for
// repetitions are left to it: each action says whether it wants them.
void HeldKeysTest::aShortcutActsOnce()
{
    const HeldKeys heldKeys;
    QWidget widget;
    const auto isPlainKey = [&widget](quint64 time, bool isAutoRepeat) {
        QKeyEvent event(QEvent::ShortcutOverride, Qt::Key_C, Qt::ControlModifier, QString(),
                        isAutoRepeat);
        event.setTimestamp(static_cast<unsigned long>(time));
        event.ignore();
        QCoreApplication::sendEvent(&widget, &event);
        return event.isAccepted();
    };
    QVERIFY(!isPlainKey(1000, false));
    send(QEvent::KeyRelease, &widget, Qt::Key_C, 1040, false);
    QVERIFY(isPlainKey(1040, false));
    QVERIFY(!isPlainKey(1040, true));
    QVERIFY(!isPlainKey(1050, false));
}

// It takes the keys that it knows before they become shortcuts.
void HeldKeysTest::aLineOfTextKeepsItsKeys()
{
    const HeldKeys heldKeys;
    QLineEdit line;
    QKeyEvent event(QEvent::ShortcutOverride, Qt::Key_A, Qt::NoModifier, "a");
    event.ignore();
    QCoreApplication::sendEvent(&line, &event);
    QVERIFY(event.isAccepted());
}

void HeldKeysTest::theMouseStillWorks()
{
    const HeldKeys heldKeys;
    QPushButton button;
    int presses = 0;
    connect(&button, &QPushButton::clicked, &button, [&presses] { ++presses; });
    QTest::mouseClick(&button, Qt::LeftButton);
    QTest::mouseClick(&button, Qt::LeftButton);
    QCOMPARE(presses, 2);
}

QTEST_MAIN(HeldKeysTest)
#include "heldkeys_test.moc"
