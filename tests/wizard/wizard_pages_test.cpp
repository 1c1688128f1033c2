#include "dialup/phonebookentry.h"
#include "install/installationsteps.h"
#include "tests/support/markingtranslator.h"
#include "tests/wizard/wizardbench.h"
#include "wizard/setupsteps.h"
#include "wizard/welcomepage.h"

#include <QMetaMethod>
#include <QTest>
#include <QVBoxLayout>

namespace {

QStringList ownMethods(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names.append(meta.method(i).methodSignature());
    return names;
}

void checkLayout(const QWizardPage &page, int widgets)
{
    const auto *layout = qobject_cast<QVBoxLayout *>(page.layout());
    QVERIFY(layout);
    QCOMPARE(layout->count(), widgets);
    for (int i = 0; i < widgets; ++i) {
        QCOMPARE(layout->stretch(i), 0);
        QCOMPARE(layout->itemAt(i)->alignment(), Qt::Alignment());
    }
}

} // namespace

class WizardPagesTest : public WizardTest
{
    Q_OBJECT

private slots:
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
        WizardBench bench;
        bench.openWizard();
        QCOMPARE(bench.wizard->windowTitle(),
                 QString("Welcome To Tolvane Modem Connector Settings"));
        QCOMPARE(bench.wizard->pageIds(), QList<int>({0, 1}));
        QVERIFY(qobject_cast<WelcomePage *>(bench.wizard->page(0)));
        QVERIFY(qobject_cast<SetupPage *>(bench.wizard->page(1)));
        QCOMPARE(bench.wizard->page(0)->nextId(), 1);
        QCOMPARE(bench.wizard->page(1)->nextId(), -1);
        QVERIFY(bench.wizard->page(1)->isFinalPage());
        QCOMPARE(bench.wizard->currentId(), 0);
        QCOMPARE(bench.wizard->parentWidget(), bench.window.get());
        QVERIFY(bench.wizard->isVisible());
        const QWizard plain(bench.window.get());
        QCOMPARE(bench.wizard->wizardStyle(), plain.wizardStyle());
        QCOMPARE(bench.wizard->options(), plain.options());
        QCOMPARE(bench.wizard->windowFlags(), plain.windowFlags());
        QCOMPARE(bench.wizard->windowModality(), Qt::NonModal);
        QVERIFY(bench.wizard->pixmap(QWizard::LogoPixmap).isNull());
    }

    void welcomePage()
    {
        WizardBench bench;
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
        bench.openWizard();
        QVERIFY(bench.wizard->button(QWizard::NextButton)->isEnabled());
    }

    void setupPage()
    {
        WizardBench bench;
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
        QCOMPARE(bench.injector.operations(), QStringList());
    }

    void whatIsTranslated()
    {
        WizardBench bench;
        MarkingTranslator translator;
        QCoreApplication::installTranslator(&translator);
        bench.openWizard();
        QCOMPARE(bench.wizard->windowTitle(),
                 QString("[SettingsWizard]Welcome To Tolvane Modem Connector Settings"));
        QCOMPARE(bench.wizard->page(0)->title(), QString("[WelcomePage]Welcome"));
        QVERIFY(
            bench.wizard->page(0)->findChild<QLabel *>()->text().startsWith("[WelcomePage]<html>"));
        QCOMPARE(bench.page()->title(), QString("[SetupPage]Installing Drivers & Others"));
        QCOMPARE(statusLabel(bench.page())->text(), QString(constructedText));
        QCOMPARE(retryButton(bench.page())->text(), QString("Retry"));
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

    /// The longest texts stay readable in the wizard as it opens.
    void textsFit()
    {
        WizardBench bench;
        bench.openWizard();
        bench.wizard->next();
        QTRY_VERIFY(bench.page()->isComplete());
        QLabel *label = statusLabel(bench.page());
        retryButton(bench.page())->setVisible(true);
        for (const char *const *texts : {statusTexts, errorTexts}) {
            for (int i = 0; i <= SetupStepCount; ++i) {
                label->setText(texts[i]);
                QTRY_VERIFY2(label->heightForWidth(label->width()) <= label->height(), texts[i]);
            }
        }
    }
};

QTEST_MAIN(WizardPagesTest)
#include "wizard_pages_test.moc"
