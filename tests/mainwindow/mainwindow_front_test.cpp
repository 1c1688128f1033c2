// The program was started a second time and comes to the front.

#include "dialogs/aboutdialog.h"
#include "mainwindow/front.h"
#include "tests/mainwindow/mainwindowbench.h"

#include <QMessageBox>
#include <QSemaphore>
#include <QThreadPool>

#include <vector>

namespace {

/// Writes down the order in which windows are raised.
class RaiseWatch : public QObject
{
public:
    RaiseWatch() { qApp->installEventFilter(this); }

    QStringList raised;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const auto *widget = qobject_cast<QWidget *>(watched);
        if (event->type() == QEvent::ZOrderChange && widget && widget->isWindow())
            raised.append(widget->metaObject()->className());
        return false;
    }
};

/// Another program's window, which has the keyboard.
class OtherWindow
{
public:
    OtherWindow()
    {
        m_window.show();
        m_window.requestActivate();
        [this] { QTRY_COMPARE(QGuiApplication::focusWindow(), &m_window); }();
    }

private:
    QWindow m_window;
};

} // namespace

class MainWindowFrontTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        m_settings = std::make_unique<TestSettings>();
        useFormFont();
    }
    void init()
    {
        m_settings->clear();
        m_bench = std::make_unique<MainWindowBench>();
    }
    void cleanup() { m_bench.reset(); }

    void theWindowGetsTheKeyboard();
    void aMinimisedWindowIsRestored();
    void theWizardIsInFront_data();
    void theWizardIsInFront();
    void theDialDialogStaysInFront();
    void aBoxOverTheWizardStaysInFront();
    void aDialogOfTheWindowIsLeftToIt();
    void aBoxOfTheWindowGetsTheKeyboard();
    void anOpenListIsNoWindow();
    void busyByItsState_data();
    void busyByItsState();
    void busyWhileItDials();
    void busyBetweenTwoSetupSteps();
    void busyWhileASetupStepRuns();

private:
    std::unique_ptr<TestSettings> m_settings;
    std::unique_ptr<MainWindowBench> m_bench;
};

void MainWindowFrontTest::theWindowGetsTheKeyboard()
{
    const auto window = m_bench->windowInState("connected");
    const OtherWindow other;
    const RaiseWatch watch;
    bringToFront(window.get());
    QTRY_COMPARE(QApplication::activeWindow(), window.get());
    QCOMPARE(watch.raised, QStringList({"MainWindow"}));
    QCOMPARE(view(*window), connectedView);
}

void MainWindowFrontTest::aMinimisedWindowIsRestored()
{
    const auto window = m_bench->windowInState("connected");
    window->showMinimized();
    bringToFront(window.get());
    QVERIFY(!window->isMinimized());
    QTRY_COMPARE(QApplication::activeWindow(), window.get());
}

void MainWindowFrontTest::theWizardIsInFront_data()
{
    QTest::addColumn<bool>("minimised");
    QTest::newRow("normal") << false;
    QTest::newRow("minimised") << true;
}

void MainWindowFrontTest::theWizardIsInFront()
{
    QFETCH(const bool, minimised);
    MainWindow window;
    SettingsWizard *wizard = wizards(window).first();
    if (minimised)
        wizard->showMinimized();
    const OtherWindow other;
    bringToFront(&window);
    QVERIFY(!window.isVisible());
    QVERIFY(!wizard->isMinimized());
    QTRY_COMPARE(QApplication::activeWindow(), wizard);
}

// It is the system's and no child of the window.
void MainWindowFrontTest::theDialDialogStaysInFront()
{
    const auto window = m_bench->windowInState("connected");
    QDialog dialog;
    dialog.show();
    const OtherWindow other;
    const RaiseWatch watch;
    bringToFront(window.get());
    QCOMPARE(watch.raised, QStringList({"MainWindow", "QDialog"}));
    QTRY_COMPARE(QApplication::activeWindow(), &dialog);
}

void MainWindowFrontTest::aBoxOverTheWizardStaysInFront()
{
    MainWindow window;
    // The toolkit lists windows in no order; among many neither the box nor the main window
    // is likely to be the last.
    std::vector<QWidget> others(20);
    for (QWidget &other : others)
        other.show();
    QMessageBox box;
    box.setWindowModality(Qt::ApplicationModal);
    box.show();
    const OtherWindow other;
    const RaiseWatch watch;
    bringToFront(&window);
    QCOMPARE(watch.raised.size(), 22); // and the wizard
    QTRY_COMPARE(QApplication::activeWindow(), &box);
    QVERIFY(!window.isVisible());
}

// The window manager keeps it above its window.
void MainWindowFrontTest::aDialogOfTheWindowIsLeftToIt()
{
    const auto window = m_bench->windowInState("connected");
    AboutDialog about(window.get());
    about.show();
    const RaiseWatch watch;
    bringToFront(window.get());
    QCOMPARE(watch.raised, QStringList({"MainWindow"}));
}

void MainWindowFrontTest::aBoxOfTheWindowGetsTheKeyboard()
{
    const auto window = m_bench->windowInState("connected");
    QMessageBox box(window.get());
    box.setWindowModality(Qt::ApplicationModal);
    box.show();
    const OtherWindow other;
    bringToFront(window.get());
    QTRY_COMPARE(QApplication::activeWindow(), &box);
}

void MainWindowFrontTest::anOpenListIsNoWindow()
{
    const auto window = m_bench->windowInState("connected");
    window->findChild<QMenu *>("menu_File")->popup(QPoint());
    QVERIFY(QApplication::activePopupWidget());
    const RaiseWatch watch;
    bringToFront(window.get());
    QCOMPARE(watch.raised, QStringList({"MainWindow"}));
    QApplication::activePopupWidget()->close();
}

// A start as an administrator takes over from a program that is not busy.
void MainWindowFrontTest::busyByItsState_data()
{
    QTest::addColumn<bool>("isBusy");
    QTest::newRow("counting down") << false;
    QTest::newRow("counting down again") << false;
    QTest::newRow("waiting") << false;
    QTest::newRow("disconnected") << false;
    QTest::newRow("connected") << true;
}

void MainWindowFrontTest::busyByItsState()
{
    QFETCH(const bool, isBusy);
    const auto window = m_bench->windowInState(QTest::currentDataTag());
    QCOMPARE(window->isBusy(), isBusy);
    // Behind a wizard nothing changes.
    QVERIFY(QMetaObject::invokeMethod(window.get(), "ShowCreateNewConnectionWizard"));
    QCOMPARE(window->isBusy(), isBusy);
}

void MainWindowFrontTest::busyWhileItDials()
{
    const auto window = m_bench->windowInState("counting down");
    bool wasBusy = false;
    m_bench->machine.whileDialling = [&] { wasBusy = window->isBusy(); };
    m_bench->machine.dialSucceeds = false;
    button(*window, "connectButton")->click();
    QVERIFY(wasBusy);
    QVERIFY(!window->isBusy());
}

// The first step has ended, and the second has not begun.
void MainWindowFrontTest::busyBetweenTwoSetupSteps()
{
    const auto window = m_bench->windowInState("counting down");
    QVERIFY(QMetaObject::invokeMethod(window.get(), "ShowCreateNewConnectionWizard"));
    wizards(*window).first()->next();
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(window->isBusy());
    QTRY_VERIFY(!window->isBusy());
}

// Also when its wizard has been closed.
void MainWindowFrontTest::busyWhileASetupStepRuns()
{
    const auto window = m_bench->windowInState("counting down");
    QSemaphore mayEnd;
    m_bench->machine.whileUpdating = [&] { mayEnd.acquire(); };
    QVERIFY(QMetaObject::invokeMethod(window.get(), "ShowCreateNewConnectionWizard"));
    SettingsWizard *wizard = wizards(*window).first();
    wizard->next();
    QVERIFY(window->isBusy());
    wizard->reject();
    QVERIFY(window->isBusy());
    mayEnd.release();
    QTRY_VERIFY(!window->isBusy());
}

QTEST_MAIN(MainWindowFrontTest)
#include "mainwindow_front_test.moc"
