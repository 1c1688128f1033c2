#include "tests/wizard/wizardbench.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

class WizardClosingTest : public WizardTest
{
    Q_OBJECT

private slots:
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
        WizardBench bench;
        bench.openWizard();
        if (entries.isValid())
            QSettings().setValue(settingskeys::NoOfDialups, entries);
        const QSignalSpy finished(bench.wizard, &QDialog::finished);
        if (how == "finish")
            bench.wizard->accept();
        else if (how == "cancel")
            QTest::mouseClick(bench.wizard->button(QWizard::CancelButton), Qt::LeftButton);
        else
            bench.wizard->close();
        QCOMPARE(finished.count(), 1);
        QVERIFY(!bench.wizard->isVisible());
        QCOMPARE(bench.window->isVisible(), comesBack);
    }

    void cancelledBeforeFinish()
    {
        WizardBench bench;
        bench.openWizard();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        bench.wizard->reject();
        QVERIFY(bench.window->isVisible());
    }

    /// The hidden page goes on: the modem step and the dial-up step run to
    /// their end.
    void cancelledWhileRunning()
    {
        WizardBench bench;
        QSettings settings;
        settings.setValue(settingskeys::NoOfDialups, 1);
        settings.setValue(settingskeys::isINFSetupDone, true);
        settings.setValue(settingskeys::port(7), "TolvaneModem 1");
        bench.window = std::make_unique<MainWindow>();
        QVERIFY(bench.window->isVisible());
        QVERIFY(QMetaObject::invokeMethod(bench.window.get(), "ShowCreateNewConnectionWizard"));
        bench.wizard = bench.window->findChild<SettingsWizard *>();
        bench.closeGate(3);
        bench.wizard->next();
        QTRY_COMPARE(bench.gate.entered.available(), 1);
        QTest::mouseClick(bench.wizard->button(QWizard::CancelButton), Qt::LeftButton);
        QVERIFY(bench.window->isVisible());
        QVERIFY(!bench.wizard->isVisible());
        bench.gate.leave.release();
        QTRY_VERIFY(bench.page()->isComplete());
        QVERIFY(!bench.wizard->isVisible());
        QCOMPARE(bench.machine.storedEntries.size(), 1);
        QCOMPARE(bench.machine.storedEntries.first().name, QString("TolvaneModem 2"));
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 2);
        QCOMPARE(QSettings().value(settingskeys::port(7)).toString(), QString("TolvaneModem 2"));
    }

    /// Each request makes a wizard of its own, which begins anew.
    void twoWizards()
    {
        WizardBench bench;
        bench.openWizard();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        SettingsWizard *first = bench.wizard;
        first->accept();
        QVERIFY(QMetaObject::invokeMethod(bench.window.get(), "ShowCreateNewConnectionWizard"));
        const QList<SettingsWizard *> wizards = bench.window->findChildren<SettingsWizard *>();
        QCOMPARE(wizards.size(), 2);
        bench.wizard = wizards.last();
        QVERIFY(bench.wizard != first);
        QVERIFY(!first->isVisible());
        QVERIFY(first->page(1)->isComplete());
        QVERIFY(!bench.page()->isComplete());
        QCOMPARE(bench.wizard->currentId(), 0);
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QCOMPARE(QSettings().value(settingskeys::NoOfDialups).toInt(), 2);
    }
};

QTEST_MAIN(WizardClosingTest)
#include "wizard_closing_test.moc"
