#include "app/formfont.h"
#include "app/settings.h"
#include "dialup/phonebookentry.h"
#include "install/installationsteps.h"
#include "mainwindow/mainwindow.h"
#include "platform/faultinjection/faultinjectingplatform.h"
#include "tests/support/logcatcher.h"
#include "tests/support/markingtranslator.h"
#include "tests/support/scriptedmachine.h"
#include "tests/support/testsettings.h"
#include "wizard/settingswizard.h"
#include "wizard/setuppage.h"
#include "wizard/setupsteps.h"
#include "wizard/welcomepage.h"

#include <QAbstractButton>
#include <QLabel>
#include <QMetaMethod>
#include <QPushButton>
#include <QSemaphore>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QThreadPool>
#include <QTimer>
#include <QVBoxLayout>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace {

const char constructedText[] = "<html>Installing the drivers. It may take several minutes. Please "
                               "wait till finish.</html>";
const char red[] = "color: red";

const char *const statusTexts[] = {
    "<html>Installing the Mobile Driver. It may take several minutes. Please wait till "
    "finish.</html>",
    "<html>Rescaning Devices...</html>",
    "<html>Checking for available ports...</html>",
    "<html>Setting up the modem for the port. It may take serveral minutes.Please wait till "
    "finish.</html>",
    "<html>Creating the dial-up connection...</html>",
    "<html>Setup Successfull. Press <b><i>Finish</i></b> and get connected to the Internet.</html>",
};

const char *const errorTexts[] = {
    "An error occured in INF setup. Please run the application as Administrator. For this, close "
    "the application, right click on the TolvaneDialler and click on Run as Administrator",
    "Rescan failed.",
    "No compatible mobile found. If mobile is connected, please disconnect and reconnect.",
    "An error occured in modem setup. Please retry.",
    "An error occured in creating Dial Up connection. Please retry.",
    "An unknown error occured.",
};

/// The operation by which each step is recognised and made to fail.
const char *const stepOperations[] = {"CreateProcessW", "CM_Locate_DevNode_ExA",
                                      "SetupDiGetClassDevsW", "SetupDiGetINFClassW",
                                      "RasSetEntryPropertiesW"};

/// Stops the worker inside a step, so that the page can be looked at. The hook
/// runs on the worker's thread, with the number of the step.
class GatedMachine : public ScriptedMachine
{
public:
    std::function<void(int)> insideStep;

    GatedMachine()
    {
        CreateProcessW.wrap([this](auto &next, auto... arguments) {
            enter(0);
            return next(arguments...);
        });
        // The modem step looks for the port as well, before anything else.
        SetupDiGetClassDevsW.wrap([this](auto &next, auto... arguments) {
            enter(2);
            return next(arguments...);
        });
        SetupDiGetINFClassW.wrap([this](auto &next, auto... arguments) {
            enter(3);
            return next(arguments...);
        });
        RasSetEntryPropertiesW.wrap([this](auto &next, auto... arguments) {
            enter(4);
            return next(arguments...);
        });
    }

private:
    void enter(int step)
    {
        if (insideStep)
            insideStep(step);
    }
};

/// Keeps the workers that reach a step waiting there. Destroying it is safe
/// only once they have left: see WizardTest::cleanup().
struct Gate {
    QSemaphore entered;
    QSemaphore leave;
    std::atomic<int> visits{0};
    std::atomic<int> left{0};
};

/// Lets the GUI thread look at the page while a worker waits inside a step.
/// Made of the standard library's parts, whose meaning the thread sanitizer
/// knows.
class Rendezvous
{
public:
    /// The worker's side: returns when the GUI thread has looked.
    void meet(int step)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [this] { return m_step < 0 || m_over; });
        m_step = step;
        m_changed.wait(lock, [this] { return m_step < 0 || m_over; });
    }

    /// The GUI thread's side: does nothing when no worker waits.
    void look(const std::function<void(int)> &at)
    {
        const std::lock_guard lock(m_mutex);
        if (m_step < 0)
            return;
        at(m_step);
        m_step = -1;
        m_changed.notify_all();
    }

    /// Nobody looks any more.
    void end()
    {
        const std::lock_guard lock(m_mutex);
        m_over = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_step = -1;
    bool m_over = false;
};

QStringList ownMethods(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names.append(meta.method(i).methodSignature());
    return names;
}

QLabel *statusLabel(const QWizardPage *page)
{
    return page->findChild<QLabel *>();
}

QPushButton *retryButton(const QWizardPage *page)
{
    return page->findChild<QPushButton *>();
}

} // namespace

class WizardTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useFormFont();
        m_settings = std::make_unique<TestSettings>();
        // Room for the tasks that nobody listens to any more.
        QThreadPool::globalInstance()->setMaxThreadCount(4);
    }

    void init()
    {
        m_settings->clear();
        m_machine = std::make_unique<GatedMachine>();
        m_machine->ports = {{"USB Modem Driver (COM7)", true}};
        m_machine->rasDevices = {{"modem", "MTK GPRS Modem"}};
        m_platform = std::make_unique<platform::FaultInjectingPlatform>(*m_machine);
        platform::setCurrent(m_platform.get());
        m_log = std::make_unique<LogCatcher>();
        m_gate = std::make_unique<Gate>();
        m_rendezvous = std::make_unique<Rendezvous>();
    }

    void cleanup()
    {
        m_gate->leave.release(100);
        m_rendezvous->end();
        m_window.reset();
        QThreadPool::globalInstance()->waitForDone();
        m_log.reset();
    }

    void cleanupTestCase()
    {
        platform::setCurrent(nullptr);
        m_settings.reset();
    }

    // What there is before anything runs.

    void metaObjects()
    {
        QCOMPARE(SettingsWizard::staticMetaObject.className(), "SettingsWizard");
        QCOMPARE(SettingsWizard::staticMetaObject.superClass()->className(), "QWizard");
        QCOMPARE(ownMethods(SettingsWizard::staticMetaObject), QStringList("Closing()"));
        const QMetaMethod closing = SettingsWizard::staticMetaObject.method(
            SettingsWizard::staticMetaObject.methodOffset());
        QCOMPARE(closing.access(), QMetaMethod::Private);
        QCOMPARE(closing.methodType(), QMetaMethod::Slot);
        QCOMPARE(WelcomePage::staticMetaObject.className(), "WelcomePage");
        QCOMPARE(ownMethods(WelcomePage::staticMetaObject), QStringList());
        QCOMPARE(SetupPage::staticMetaObject.className(), "SetupPage");
        QCOMPARE(ownMethods(SetupPage::staticMetaObject),
                 QStringList({"OnDriverSetupComplete()", "StartSetup()"}));
        for (const char *name : {"OnDriverSetupComplete()", "StartSetup()"}) {
            const QMetaMethod method =
                SetupPage::staticMetaObject.method(SetupPage::staticMetaObject.indexOfMethod(name));
            QCOMPARE(method.access(), QMetaMethod::Public);
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
        }
    }

    void frame()
    {
        openWizard();
        QCOMPARE(m_wizard->windowTitle(), QString("Welcome To Tolvane Modem Connector Settings"));
        QCOMPARE(m_wizard->pageIds(), QList<int>({0, 1}));
        QVERIFY(qobject_cast<WelcomePage *>(m_wizard->page(0)));
        QVERIFY(qobject_cast<SetupPage *>(m_wizard->page(1)));
        QCOMPARE(m_wizard->page(0)->nextId(), 1);
        QCOMPARE(m_wizard->page(1)->nextId(), -1);
        QVERIFY(m_wizard->page(1)->isFinalPage());
        QCOMPARE(m_wizard->currentId(), 0);
        QCOMPARE(m_wizard->parentWidget(), m_window.get());
        QVERIFY(m_wizard->isVisible());
        const QWizard plain(m_window.get());
        QCOMPARE(m_wizard->wizardStyle(), plain.wizardStyle());
        QCOMPARE(m_wizard->options(), plain.options());
        QCOMPARE(m_wizard->windowFlags(), plain.windowFlags());
        QCOMPARE(m_wizard->windowModality(), Qt::NonModal);
        QVERIFY(m_wizard->pixmap(QWizard::LogoPixmap).isNull());
    }

    void welcomePage()
    {
        WelcomePage page;
        QCOMPARE(page.title(), QString("Welcome"));
        QVERIFY(page.isComplete());
        const auto *label = page.findChild<QLabel *>();
        QCOMPARE(label->text(),
                 QString("<html>Welcome to the Tolvane Modem Connector Settings Wizard. This "
                         "wizard will guide you and create an Internet Connection for "
                         "you.<br><br>To continue press <b><i>Next</i></b>.</html>"));
        checkLayout(page, 1);
        QVERIFY(label->wordWrap());
        openWizard();
        QVERIFY(m_wizard->button(QWizard::NextButton)->isEnabled());
    }

    void setupPage()
    {
        SetupPage page;
        QCOMPARE(page.title(), QString("Installing Drivers & Others"));
        QVERIFY(!page.isComplete());
        checkLayout(page, 2);
        QCOMPARE(page.layout()->itemAt(0)->widget(), statusLabel(&page));
        QCOMPARE(page.layout()->itemAt(1)->widget(), retryButton(&page));
        QCOMPARE(statusLabel(&page)->text(), QString(constructedText));
        QVERIFY(statusLabel(&page)->wordWrap());
        QCOMPARE(retryButton(&page)->text(), QString("Retry"));
        QVERIFY(retryButton(&page)->isHidden());
        // Making the page starts nothing.
        QCOMPARE(m_platform->operations(), QStringList());
    }

    void whatIsTranslated()
    {
        MarkingTranslator translator;
        QCoreApplication::installTranslator(&translator);
        openWizard();
        QCOMPARE(m_wizard->windowTitle(),
                 QString("[SettingsWizard]Welcome To Tolvane Modem Connector Settings"));
        QCOMPARE(m_wizard->page(0)->title(), QString("[WelcomePage]Welcome"));
        QVERIFY(m_wizard->page(0)->findChild<QLabel *>()->text().startsWith("[WelcomePage]<html>"));
        QCOMPARE(page()->title(), QString("[SetupPage]Installing Drivers & Others"));
        QCOMPARE(statusLabel(page())->text(), QString(constructedText));
        QCOMPARE(retryButton(page())->text(), QString("Retry"));
        QCoreApplication::removeTranslator(&translator);
    }

    void stepTable()
    {
        bool (*const functions[])() = {SetupAllInfs, ReScanDriver,           SetCurrentPortSettings,
                                       InstallModem, createDialupConnection, nullptr};
        QCOMPARE(SetupStepCount, 5);
        for (int i = 0; i <= SetupStepCount; ++i) {
            QCOMPARE(setupSteps[i].statusText, statusTexts[i]);
            QCOMPARE(setupSteps[i].errorText, errorTexts[i]);
            QVERIFY(setupSteps[i].function == functions[i]);
        }
    }

    // The sequence.

    void wholeRun()
    {
        openWizard();
        QList<PageView> seen;
        watchSteps(&seen);
        std::atomic<bool> workerIsGui{false};
        const auto watch = m_machine->insideStep;
        m_machine->insideStep = [&, watch](int step) {
            if (QThread::currentThread() == qApp->thread())
                workerIsGui = true;
            watch(step);
        };
        m_machine->whileRescanning = [&] { watch(1); };
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QVERIFY(!workerIsGui.load());

        QStringList texts;
        for (const PageView &view : std::as_const(seen)) {
            QCOMPARE(view.styleSheet, QString());
            QVERIFY(!view.retry);
            QVERIFY(!view.finish);
            if (texts.isEmpty() || texts.last() != view.text)
                texts.append(view.text);
        }
        QStringList expected;
        for (int i = 0; i < SetupStepCount; ++i)
            expected.append(statusTexts[i]);
        QCOMPARE(texts, expected);
        checkDone();

        const QSettings settings;
        QVERIFY(settings.value(settingskeys::isINFSetupDone).toBool());
        QCOMPARE(settings.value(settingskeys::CurrentPort).toInt(), 7);
        QCOMPARE(settings.value(settingskeys::NoOfDialups).toInt(), 1);
        QCOMPARE(settings.value(settingskeys::port(7)).toString(), QString("TolvaneModem 1"));
        // There is no automatic finish.
        QVERIFY(m_wizard->isVisible());
        QVERIFY(!m_window->isVisible());
        QTest::mouseClick(m_wizard->button(QWizard::FinishButton), Qt::LeftButton);
        QVERIFY(!m_wizard->isVisible());
        QVERIFY(m_window->isVisible());
    }

    void driversInstalledBefore()
    {
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        openWizard();
        QList<PageView> seen;
        watchSteps(&seen);
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QCOMPARE(seen.first().text, QString(statusTexts[2]));
        QVERIFY(!m_platform->operations().contains(stepOperations[0]));
        QVERIFY(!m_platform->operations().contains(stepOperations[1]));
        checkDone();
    }

    /// The key is read when the page is made, not when it is entered.
    void driversInstalledMeanwhile()
    {
        openWizard();
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QVERIFY(!m_platform->operations().contains(stepOperations[0]));
        QVERIFY(m_platform->operations().contains(stepOperations[1]));
    }

    void stepFails_data()
    {
        QTest::addColumn<int>("step");
        for (const int step : {0, 2, 3, 4})
            QTest::newRow(qPrintable(QString("step %1").arg(step))) << step;
    }

    void stepFails()
    {
        QFETCH(int, step);
        openWizard();
        breakStep(step);
        m_wizard->next();
        QTRY_VERIFY(!retryButton(page())->isHidden());
        checkFailed(step);
        const auto runs = [&] { return m_platform->operations().count(stepOperations[step]); };
        const auto runsBefore = runs();
        QList<int> earlier;
        for (int i = 0; i < step; ++i)
            earlier.append(int(m_platform->operations().count(stepOperations[i])));

        QList<PageView> seen;
        watchSteps(&seen);
        for (int retry = 1; retry <= 5; ++retry) {
            QTest::mouseClick(retryButton(page()), Qt::LeftButton);
            QCOMPARE(look(), (PageView{statusTexts[step], QString(), false, false}));
            QTRY_VERIFY(!retryButton(page())->isHidden());
            checkFailed(step);
            QCOMPARE(int(runs() - runsBefore), retry);
        }
        // Exactly the failed step ran; the modem step contains a port check of
        // its own.
        for (int i = 0; i < step; ++i) {
            if (i != 2)
                QCOMPARE(int(m_platform->operations().count(stepOperations[i])), earlier.at(i));
        }
        for (const PageView &view : std::as_const(seen))
            QCOMPARE(view, (PageView{statusTexts[step], QString(), false, false}));

        mendStep();
        QTest::mouseClick(retryButton(page()), Qt::LeftButton);
        QTRY_VERIFY(page()->isComplete());
        checkDone();
    }

    /// Enter pressed twice retries once and never leaves the page.
    void retryByKeyboard()
    {
        openWizard();
        breakStep(3);
        QVERIFY(QTest::qWaitForWindowActive(m_wizard));
        for (int press = 1; press <= 2; ++press)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(m_wizard->currentId(), 1);
        QTRY_VERIFY(!retryButton(page())->isHidden());
        for (int retry = 1; retry <= 3; ++retry) {
            QTRY_COMPARE(QApplication::focusWidget(), static_cast<QWidget *>(retryButton(page())));
            for (int press = 1; press <= 2; ++press)
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
            QCOMPARE(m_wizard->currentId(), 1);
            QCOMPARE(look(), (PageView{statusTexts[3], QString(), false, false}));
            QTRY_VERIFY(!retryButton(page())->isHidden());
        }
        mendStep();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QTRY_VERIFY(page()->isComplete());
        checkDone();
    }

    /// A failed rescan does not stop the set-up: the port check runs under a
    /// red label with Retry at hand, and the next step clears both.
    void failedRescan()
    {
        openWizard();
        QList<PageView> seen;
        QList<int> steps;
        watchSteps(&seen, &steps);
        m_platform->inject({stepOperations[1], 1, platform::ConfigFailure, false});
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QCOMPARE(steps, QList<int>({0, 2, 2, 3, 4}));
        QCOMPARE(seen.at(1), (PageView{statusTexts[2], red, true, false}));
        QCOMPARE(seen.at(2), (PageView{statusTexts[3], QString(), false, false}));
        checkDone();
    }

    void failedRescanAndNoPort()
    {
        openWizard();
        m_platform->inject({stepOperations[1], 1, platform::ConfigFailure, false});
        m_machine->ports.clear();
        m_wizard->next();
        QTRY_COMPARE(statusLabel(page())->text(), QString(errorTexts[2]));
        checkFailed(2);
        QThreadPool::globalInstance()->waitForDone();
        m_machine->ports = {{"USB Modem Driver (COM7)", true}};
        m_platform->reset();
        QTest::mouseClick(retryButton(page()), Qt::LeftButton);
        QTRY_VERIFY(page()->isComplete());
        QVERIFY(!m_platform->operations().contains(stepOperations[1]));
    }

    /// Retry while the port check still runs: the older task goes on to its
    /// end, and nobody listens to it.
    void twoTasksAtOnce()
    {
        openWizard();
        m_platform->inject({stepOperations[1], 1, platform::ConfigFailure, false});
        closeGate(2);
        m_wizard->next();
        QTRY_COMPARE(m_gate->entered.available(), 1);
        QTRY_VERIFY(!retryButton(page())->isHidden());
        QTest::mouseClick(retryButton(page()), Qt::LeftButton);
        QTRY_VERIFY(page()->isComplete());
        checkDone();
        const QStringList operations = m_platform->operations();
        QCOMPARE(operations.count(stepOperations[3]), 1);
        QCOMPARE(operations.count(stepOperations[4]), 1);

        m_gate->leave.release();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(m_gate->left.load(), 1);
        QCoreApplication::processEvents();
        checkDone();
        QCOMPARE(m_platform->operations().count(stepOperations[3]), 1);
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 1);
    }

    void backAndNextWhileRunning()
    {
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        openWizard();
        closeGate(2, 2);
        m_wizard->next();
        QTRY_COMPARE(m_gate->entered.available(), 1);
        QVERIFY(m_wizard->button(QWizard::BackButton)->isEnabled());
        QVERIFY(m_wizard->button(QWizard::CancelButton)->isEnabled());
        QVERIFY(!m_wizard->button(QWizard::FinishButton)->isEnabled());
        QTest::mouseClick(m_wizard->button(QWizard::BackButton), Qt::LeftButton);
        QCOMPARE(m_wizard->currentId(), 0);
        QTest::mouseClick(m_wizard->button(QWizard::NextButton), Qt::LeftButton);
        QCOMPARE(m_wizard->currentId(), 1);
        QTRY_COMPARE(m_gate->entered.available(), 2);
        QCOMPARE(look(), (PageView{statusTexts[2], QString(), false, false}));
        m_gate->leave.release(2);
        QTRY_VERIFY(page()->isComplete());
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(m_platform->operations().count(stepOperations[3]), 1);
        checkDone();
    }

    /// A result that arrives while the welcome page is shown counts.
    void backWhileRunning()
    {
        openWizard();
        closeGate(0);
        m_wizard->next();
        QTRY_COMPARE(m_gate->entered.available(), 1);
        m_wizard->back();
        m_gate->leave.release();
        QTRY_VERIFY(page()->isComplete());
        QCOMPARE(m_wizard->currentId(), 0);
        m_platform->reset();
        m_wizard->next();
        checkDone();
        QCOMPARE(m_platform->operations(), QStringList());
    }

    void enteredAgainAfterAFailure()
    {
        openWizard();
        breakStep(3);
        m_wizard->next();
        QTRY_VERIFY(!retryButton(page())->isHidden());
        checkFailed(3);
        m_wizard->back();
        mendStep();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QVERIFY(!m_platform->operations().contains(stepOperations[0]));
        checkDone();
    }

    void enteredAgainWhenDone()
    {
        openWizard();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        m_wizard->back();
        m_platform->reset();
        const QSignalSpy changed(page(), &QWizardPage::completeChanged);
        m_wizard->next();
        QCOMPARE(changed.count(), 1);
        checkDone();
        QCOMPARE(m_platform->operations(), QStringList());
    }

    /// Nothing is set or started beyond the last row.
    void resultBeyondTheEnd()
    {
        openWizard();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        m_platform->reset();
        QVERIFY(QMetaObject::invokeMethod(page(), "OnDriverSetupComplete"));
        checkDone();
        QVERIFY(QMetaObject::invokeMethod(page(), "StartSetup"));
        checkDone();
        QCOMPARE(m_platform->operations(), QStringList());
    }

    // Closing.

    void closing_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QVariant>("entries");
        QTest::addColumn<bool>("comesBack");
        for (const char *how : {"finish", "cancel", "close"}) {
            const auto row = [how](const char *name, const QVariant &entries, bool comesBack) {
                QTest::newRow(qPrintable(QString("%1, %2").arg(how, name)))
                    << QString(how) << entries << comesBack;
            };
            row("no entry", QVariant(), false);
            row("0 entries", 0, false);
            row("1 entry", 1, true);
            row("unreadable", "many", true);
        }
    }

    void closing()
    {
        QFETCH(QString, how);
        QFETCH(QVariant, entries);
        QFETCH(bool, comesBack);
        openWizard();
        if (entries.isValid())
            QSettings().setValue(settingskeys::NoOfDialups, entries);
        const QSignalSpy finished(m_wizard, &QDialog::finished);
        if (how == "finish")
            m_wizard->accept();
        else if (how == "cancel")
            QTest::mouseClick(m_wizard->button(QWizard::CancelButton), Qt::LeftButton);
        else
            m_wizard->close();
        QCOMPARE(finished.count(), 1);
        QVERIFY(!m_wizard->isVisible());
        QCOMPARE(m_window->isVisible(), comesBack);
    }

    void cancelledBeforeFinish()
    {
        openWizard();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        m_wizard->reject();
        QVERIFY(m_window->isVisible());
    }

    /// The hidden page goes on: the modem step and the dial-up step run to
    /// their end.
    void cancelledWhileRunning()
    {
        QSettings settings;
        settings.setValue(settingskeys::NoOfDialups, 1);
        settings.setValue(settingskeys::isINFSetupDone, true);
        settings.setValue(settingskeys::port(7), "TolvaneModem 1");
        m_window = std::make_unique<MainWindow>();
        QVERIFY(m_window->isVisible());
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), "ShowCreateNewConnectionWizard"));
        m_wizard = m_window->findChild<SettingsWizard *>();
        closeGate(3);
        m_wizard->next();
        QTRY_COMPARE(m_gate->entered.available(), 1);
        QTest::mouseClick(m_wizard->button(QWizard::CancelButton), Qt::LeftButton);
        QVERIFY(m_window->isVisible());
        QVERIFY(!m_wizard->isVisible());
        m_gate->leave.release();
        QTRY_VERIFY(page()->isComplete());
        QVERIFY(!m_wizard->isVisible());
        QCOMPARE(m_machine->storedEntries.size(), 1);
        QCOMPARE(m_machine->storedEntries.first().name, QString("TolvaneModem 2"));
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 2);
        QCOMPARE(QSettings().value(settingskeys::port(7)).toString(), QString("TolvaneModem 2"));
    }

    /// Each request makes a wizard of its own, which begins anew.
    void twoWizards()
    {
        openWizard();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        SettingsWizard *first = m_wizard;
        first->accept();
        QVERIFY(QMetaObject::invokeMethod(m_window.get(), "ShowCreateNewConnectionWizard"));
        const QList<SettingsWizard *> wizards = m_window->findChildren<SettingsWizard *>();
        QCOMPARE(wizards.size(), 2);
        m_wizard = wizards.last();
        QVERIFY(m_wizard != first);
        QVERIFY(!first->isVisible());
        QVERIFY(first->page(1)->isComplete());
        QVERIFY(!page()->isComplete());
        QCOMPARE(m_wizard->currentId(), 0);
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 2);
    }

    /// The longest texts stay readable in the wizard as it opens.
    void textsFit()
    {
        openWizard();
        m_wizard->next();
        QTRY_VERIFY(page()->isComplete());
        QLabel *label = statusLabel(page());
        retryButton(page())->setVisible(true);
        for (const char *const *texts : {statusTexts, errorTexts}) {
            for (int i = 0; i <= SetupStepCount; ++i) {
                label->setText(texts[i]);
                QTRY_VERIFY2(label->heightForWidth(label->width()) <= label->height(), texts[i]);
            }
        }
    }

private:
    /// What the set-up page shows.
    struct PageView {
        QString text;
        QString styleSheet;
        bool retry;
        bool finish;

        bool operator==(const PageView &other) const
        {
            return text == other.text && styleSheet == other.styleSheet && retry == other.retry &&
                   finish == other.finish;
        }
    };

    /// A first run: the window is hidden and has opened its wizard.
    void openWizard()
    {
        m_window = std::make_unique<MainWindow>();
        m_wizard = m_window->findChild<SettingsWizard *>();
        QVERIFY(m_wizard);
    }

    SetupPage *page() const { return qobject_cast<SetupPage *>(m_wizard->page(1)); }

    PageView look() const
    {
        return {statusLabel(page())->text(), statusLabel(page())->styleSheet(),
                !retryButton(page())->isHidden(),
                m_wizard->button(QWizard::FinishButton)->isEnabled()};
    }

    /// Notes what the page shows while each step runs. The worker waits for
    /// the GUI thread, which shows that the event loop runs meanwhile.
    void watchSteps(QList<PageView> *seen, QList<int> *steps = nullptr)
    {
        m_machine->insideStep = [this](int step) { m_rendezvous->meet(step); };
        auto *poll = new QTimer(m_window.get());
        connect(poll, &QTimer::timeout, this, [this, seen, steps] {
            m_rendezvous->look([&](int step) {
                seen->append(look());
                if (steps)
                    steps->append(step);
            });
        });
        poll->start(0);
    }

    /// Stops the first workers that come to a step.
    void closeGate(int gatedStep, int workers = 1)
    {
        m_machine->insideStep = [gate = m_gate.get(), gatedStep, workers](int step) {
            if (step != gatedStep || gate->visits.fetch_add(1) >= workers)
                return;
            gate->entered.release();
            gate->leave.acquire();
            ++gate->left;
        };
    }

    /// Lets a step fail from now on.
    void breakStep(int step)
    {
        if (step == 2)
            m_machine->ports.clear();
        else
            m_platform->inject({stepOperations[step], 1, platform::ErrorAccessDenied, true});
    }

    void mendStep()
    {
        QThreadPool::globalInstance()->waitForDone();
        m_platform->reset();
        m_machine->insideStep = nullptr;
        m_machine->ports = {{"USB Modem Driver (COM7)", true}};
    }

    void checkFailed(int step) const
    {
        QCOMPARE(look(), (PageView{errorTexts[step], red, true, false}));
        QVERIFY(!page()->isComplete());
    }

    void checkDone() const
    {
        QCOMPARE(look(), (PageView{statusTexts[5], QString(), false, true}));
        QVERIFY(page()->isComplete());
    }

    static void checkLayout(const QWizardPage &page, int widgets)
    {
        const auto *layout = qobject_cast<QVBoxLayout *>(page.layout());
        QVERIFY(layout);
        QCOMPARE(layout->count(), widgets);
        for (int i = 0; i < widgets; ++i) {
            QCOMPARE(layout->stretch(i), 0);
            QCOMPARE(layout->itemAt(i)->alignment(), Qt::Alignment());
        }
    }

    std::unique_ptr<TestSettings> m_settings;
    std::unique_ptr<GatedMachine> m_machine;
    std::unique_ptr<platform::FaultInjectingPlatform> m_platform;
    std::unique_ptr<LogCatcher> m_log;
    std::unique_ptr<Gate> m_gate;
    std::unique_ptr<Rendezvous> m_rendezvous;
    std::unique_ptr<MainWindow> m_window;
    SettingsWizard *m_wizard = nullptr; ///< the window's
};

QTEST_MAIN(WizardTest)
#include "wizard_test.moc"
