#include "tests/wizard/wizardbench.h"

#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>

class WizardSequenceTest : public WizardTest
{
    Q_OBJECT

private slots:
    void wholeRun()
    {
        WizardBench bench;
        bench.openWizard();
        QList<PageView> seen;
        bench.watchSteps(&seen);
        std::atomic<bool> workerIsGui{false};
        std::atomic<bool> poolIsIdle{false};
        const auto watch = bench.machine.insideStep;
        bench.machine.insideStep = [&, watch](int step) {
            if (QThread::currentThread() == qApp->thread())
                workerIsGui = true;
            if (QThreadPool::globalInstance()->activeThreadCount() == 0)
                poolIsIdle = true;
            watch(step);
        };
        bench.machine.whileRescanning = [&] { watch(1); };
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QVERIFY(!workerIsGui.load());
        // What waits for the global pool at the end waits for the steps.
        QVERIFY(!poolIsIdle.load());

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
        bench.checkDone();

        const QSettings settings;
        QVERIFY(settings.value(settingskeys::isINFSetupDone).toBool());
        QCOMPARE(settings.value(settingskeys::CurrentPort).toInt(), 7);
        QCOMPARE(settings.value(settingskeys::NoOfDialups).toInt(), 1);
        QCOMPARE(settings.value(settingskeys::port(7)).toString(), QString("TolvaneModem 1"));
        // There is no automatic finish.
        QVERIFY(bench.wizard->isVisible());
        QVERIFY(!bench.window->isVisible());
        QTest::mouseClick(bench.wizard->button(QWizard::FinishButton), Qt::LeftButton);
        QVERIFY(!bench.wizard->isVisible());
        QVERIFY(bench.window->isVisible());
    }

    void driversInstalledBefore()
    {
        WizardBench bench;
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        bench.openWizard();
        QList<PageView> seen;
        bench.watchSteps(&seen);
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QCOMPARE(seen.first().text, QString(statusTexts[2]));
        QVERIFY(!bench.injector.operations().contains(stepOperations[0]));
        QVERIFY(!bench.injector.operations().contains(stepOperations[1]));
        bench.checkDone();
    }

    /// The key is read when the page is made, not when it is entered.
    void driversInstalledMeanwhile()
    {
        WizardBench bench;
        bench.openWizard();
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QVERIFY(!bench.injector.operations().contains(stepOperations[0]));
        QVERIFY(bench.injector.operations().contains(stepOperations[1]));
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
        WizardBench bench;
        bench.openWizard();
        bench.breakStep(step);
        bench.wizard->next();
        QTRY_VERIFY(!retryButton(bench.page())->isHidden());
        bench.checkFailed(step);
        const auto runs = [&] { return bench.injector.operations().count(stepOperations[step]); };
        const auto runsBefore = runs();
        QList<int> earlier;
        for (int i = 0; i < step; ++i)
            earlier.append(int(bench.injector.operations().count(stepOperations[i])));

        QList<PageView> seen;
        bench.watchSteps(&seen);
        for (int retry = 1; retry <= 5; ++retry) {
            QTest::mouseClick(retryButton(bench.page()), Qt::LeftButton);
            QCOMPARE(bench.look(), (PageView{statusTexts[step], QString(), false, false}));
            QTRY_VERIFY(!retryButton(bench.page())->isHidden());
            bench.checkFailed(step);
            QCOMPARE(int(runs() - runsBefore), retry);
        }
        // Exactly the failed step ran; the modem step contains a port check of
        // its own.
        for (int i = 0; i < step; ++i) {
            if (i != 2)
                QCOMPARE(int(bench.injector.operations().count(stepOperations[i])), earlier.at(i));
        }
        for (const PageView &view : std::as_const(seen))
            QCOMPARE(view, (PageView{statusTexts[step], QString(), false, false}));

        bench.mendStep();
        QTest::mouseClick(retryButton(bench.page()), Qt::LeftButton);
        QTRY_VERIFY(bench.page()->isComplete());
        bench.checkDone();
    }

    /// Enter pressed twice retries once and never leaves the page.
    void retryByKeyboard()
    {
        WizardBench bench;
        bench.openWizard();
        bench.breakStep(3);
        QVERIFY(QTest::qWaitForWindowActive(bench.wizard));
        for (int press = 1; press <= 2; ++press)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QCOMPARE(bench.wizard->currentId(), 1);
        QTRY_VERIFY(!retryButton(bench.page())->isHidden());
        for (int retry = 1; retry <= 3; ++retry) {
            QTRY_COMPARE(QApplication::focusWidget(),
                         static_cast<QWidget *>(retryButton(bench.page())));
            for (int press = 1; press <= 2; ++press)
                QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
            QCOMPARE(bench.wizard->currentId(), 1);
            QCOMPARE(bench.look(), (PageView{statusTexts[3], QString(), false, false}));
            QTRY_VERIFY(!retryButton(bench.page())->isHidden());
        }
        bench.mendStep();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
        QTRY_VERIFY(bench.page()->isComplete());
        bench.checkDone();
    }

    /// A failed rescan does not stop the set-up: the port check runs under a
    /// red label with Retry at hand, and the next step clears both.
    void failedRescan()
    {
        WizardBench bench;
        bench.openWizard();
        QList<PageView> seen;
        QList<int> steps;
        bench.watchSteps(&seen, &steps);
        bench.fail(stepOperations[1], platform::ConfigFailure);
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QCOMPARE(steps, QList<int>({0, 2, 2, 3, 4}));
        QCOMPARE(seen.at(1), (PageView{statusTexts[2], red, true, false}));
        QCOMPARE(seen.at(2), (PageView{statusTexts[3], QString(), false, false}));
        bench.checkDone();
    }

    void failedRescanAndNoPort()
    {
        WizardBench bench;
        bench.openWizard();
        bench.fail(stepOperations[1], platform::ConfigFailure);
        bench.machine.ports.clear();
        bench.wizard->next();
        QTRY_COMPARE(statusLabel(bench.page())->text(), QString(errorTexts[2]));
        bench.checkFailed(2);
        QThreadPool::globalInstance()->waitForDone();
        bench.machine.ports = {{"USB Modem Driver (COM7)", true}};
        bench.injector.reset();
        QTest::mouseClick(retryButton(bench.page()), Qt::LeftButton);
        QTRY_VERIFY(bench.page()->isComplete());
        QVERIFY(!bench.injector.operations().contains(stepOperations[1]));
    }

    /// Retry while the port check still runs: the older task goes on to its
    /// end, and nobody listens to it.
    void twoTasksAtOnce()
    {
        WizardBench bench;
        bench.openWizard();
        bench.fail(stepOperations[1], platform::ConfigFailure);
        bench.closeGate(2);
        bench.wizard->next();
        QTRY_COMPARE(bench.gate.entered.available(), 1);
        QTRY_VERIFY(!retryButton(bench.page())->isHidden());
        QTest::mouseClick(retryButton(bench.page()), Qt::LeftButton);
        QTRY_VERIFY(bench.page()->isComplete());
        bench.checkDone();
        const QStringList operations = bench.injector.operations();
        QCOMPARE(operations.count(stepOperations[3]), 1);
        QCOMPARE(operations.count(stepOperations[4]), 1);

        bench.gate.leave.release();
        QThreadPool::globalInstance()->waitForDone();
        QCOMPARE(bench.gate.left.load(), 1);
        QCoreApplication::processEvents();
        bench.checkDone();
        QCOMPARE(bench.injector.operations().count(stepOperations[3]), 1);
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 1);
    }

    void backAndNextWhileRunning()
    {
        WizardBench bench;
        QSettings().setValue(settingskeys::isINFSetupDone, true);
        bench.openWizard();
        bench.closeGate(2, 2);
        bench.wizard->next();
        QTRY_COMPARE(bench.gate.entered.available(), 1);
        QVERIFY(bench.wizard->button(QWizard::BackButton)->isEnabled());
        QVERIFY(bench.wizard->button(QWizard::CancelButton)->isEnabled());
        QVERIFY(!bench.wizard->button(QWizard::FinishButton)->isEnabled());
        QTest::mouseClick(bench.wizard->button(QWizard::BackButton), Qt::LeftButton);
        QCOMPARE(bench.wizard->currentId(), 0);
        QTest::mouseClick(bench.wizard->button(QWizard::NextButton), Qt::LeftButton);
        QCOMPARE(bench.wizard->currentId(), 1);
        QTRY_COMPARE(bench.gate.entered.available(), 2);
        QCOMPARE(bench.look(), (PageView{statusTexts[2], QString(), false, false}));
        bench.gate.leave.release(2);
        QTRY_VERIFY(bench.page()->isComplete());
        QThreadPool::globalInstance()->waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(bench.injector.operations().count(stepOperations[3]), 1);
        bench.checkDone();
    }

    /// A result that arrives while the welcome page is shown counts.
    void backWhileRunning()
    {
        WizardBench bench;
        bench.openWizard();
        bench.closeGate(0);
        bench.wizard->next();
        QTRY_COMPARE(bench.gate.entered.available(), 1);
        bench.wizard->back();
        bench.gate.leave.release();
        QTRY_VERIFY(bench.page()->isComplete());
        QCOMPARE(bench.wizard->currentId(), 0);
        bench.injector.reset();
        bench.wizard->next();
        bench.checkDone();
        QCOMPARE(bench.injector.operations(), QStringList());
    }

    void enteredAgainAfterAFailure()
    {
        WizardBench bench;
        bench.openWizard();
        bench.breakStep(3);
        bench.wizard->next();
        QTRY_VERIFY(!retryButton(bench.page())->isHidden());
        bench.checkFailed(3);
        bench.wizard->back();
        bench.mendStep();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QVERIFY(!bench.injector.operations().contains(stepOperations[0]));
        bench.checkDone();
    }

    void enteredAgainWhenDone()
    {
        WizardBench bench;
        bench.openWizard();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        bench.wizard->back();
        bench.injector.reset();
        const QSignalSpy changed(bench.page(), &QWizardPage::completeChanged);
        bench.wizard->next();
        QCOMPARE(changed.count(), 1);
        bench.checkDone();
        QCOMPARE(bench.injector.operations(), QStringList());
    }

    /// Nothing is set or started beyond the last row.
    void resultBeyondTheEnd()
    {
        WizardBench bench;
        bench.openWizard();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        bench.injector.reset();
        QVERIFY(QMetaObject::invokeMethod(bench.page(), "OnDriverSetupComplete"));
        bench.checkDone();
        QVERIFY(QMetaObject::invokeMethod(bench.page(), "StartSetup"));
        bench.checkDone();
        QCOMPARE(bench.injector.operations(), QStringList());
    }
};

QTEST_MAIN(WizardSequenceTest)
#include "wizard_sequence_test.moc"
