#include "app/formfont.h"
#include "dialogs/aboutdialog.h"
#include "dialogs/creditdialog.h"
#include "dialogs/helpdialog.h"
#include "tests/support/markingtranslator.h"
#include "tests/support/testsettings.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QDialogButtonBox>
#include <QLabel>
#include <QMessageBox>
#include <QMetaMethod>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTest>
#include <QTextDocument>
#include <QTimer>

#include <memory>

namespace {

QStringList ownMethods(const QMetaObject &meta)
{
    QStringList names;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        names.append(QString("%1 %2")
                         .arg(meta.method(i).methodType())
                         .arg(QString(meta.method(i).methodSignature())));
    return names;
}

QString slot(const char *signature)
{
    return QString("%1 %2").arg(QMetaMethod::Slot).arg(signature);
}

QStringList childNames(const QObject &object)
{
    QStringList names;
    for (const QObject *child : object.children())
        names.append(child->objectName());
    return names;
}

QString plain(const QLabel *label)
{
    QTextDocument document;
    document.setHtml(label->text());
    return document.toPlainText();
}

QMessageBox *openBox()
{
    return qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
}

/// What the developers box showed; empty title when none came up.
struct Box {
    QString title;
    QString text;
    QMessageBox::StandardButtons buttons;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QWidget *parent = nullptr;
};

/// Clicks the button; a box that comes up is written down and closed.
Box clickAndAnswer(QPushButton *button)
{
    Box box;
    // Runs inside the box's own event loop, or after the click when there is
    // no box.
    QTimer::singleShot(0, button, [&box] {
        if (QMessageBox *open = openBox()) {
            box = {open->windowTitle(), open->text(), open->standardButtons(), open->icon(),
                   open->parentWidget()};
            open->accept();
        }
    });
    QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(1, 1));
    QCoreApplication::processEvents();
    return box;
}

} // namespace

class DialogsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        useFormFont();
        m_settings = std::make_unique<TestSettings>();
    }
    void init() { m_settings->clear(); }
    void cleanupTestCase() { m_settings.reset(); }

    void metaObjects()
    {
        QCOMPARE(AboutDialog::staticMetaObject.className(), "AboutDialog");
        QCOMPARE(ownMethods(AboutDialog::staticMetaObject), QStringList());
        QCOMPARE(CreditDialog::staticMetaObject.className(), "CreditDialog");
        QCOMPARE(ownMethods(CreditDialog::staticMetaObject),
                 QStringList({slot("on_pushButton_2_clicked()"), slot("on_pushButton_clicked()")}));
        const QMetaMethod first =
            CreditDialog::staticMetaObject.method(CreditDialog::staticMetaObject.methodOffset());
        QCOMPARE(first.access(), QMetaMethod::Private);
        QCOMPARE(HelpDialog::staticMetaObject.className(), "HelpDialog");
        QCOMPARE(ownMethods(HelpDialog::staticMetaObject), QStringList());
        for (const QMetaObject *meta :
             {&AboutDialog::staticMetaObject, &CreditDialog::staticMetaObject,
              &HelpDialog::staticMetaObject})
            QCOMPARE(meta->superClass()->className(), "QDialog");
    }

    void aboutLayout()
    {
        AboutDialog dialog;
        QCOMPARE(dialog.objectName(), QString("AboutDialog"));
        QCOMPARE(dialog.size(), QSize(332, 153));
        QCOMPARE(dialog.windowTitle(), QString("About"));
        QVERIFY(!dialog.layout());
        QCOMPARE(childNames(dialog), QStringList({"buttonBox", "label"}));
        checkButtonBox(dialog, QRect(130, 110, 71, 32));
        const auto *label = dialog.findChild<QLabel *>("label");
        QCOMPARE(label->geometry(), QRect(10, 0, 321, 111));
        QVERIFY(label->openExternalLinks());
    }

    void creditLayout()
    {
        CreditDialog dialog;
        QCOMPARE(dialog.objectName(), QString("CreditDialog"));
        QCOMPARE(dialog.size(), QSize(324, 174));
        QCOMPARE(dialog.windowTitle(), QString("Credits"));
        QVERIFY(!dialog.layout());
        QCOMPARE(childNames(dialog), QStringList({"label", "buttonBox", "pushButton"}));
        checkButtonBox(dialog, QRect(100, 140, 71, 32));
        const auto *label = dialog.findChild<QLabel *>("label");
        QCOMPARE(label->geometry(), QRect(10, 0, 311, 131));
        QVERIFY(label->openExternalLinks());
        const auto *button = dialog.findChild<QPushButton *>("pushButton");
        QCOMPARE(button->geometry(), QRect(320, 0, 21, 20));
        QVERIFY(button->isFlat());
        QCOMPARE(button->text(), QString());
        // Nobody is told of it: no stop of the Tab key, nothing to read out.
        QCOMPARE(button->focusPolicy(), Qt::NoFocus);
        QCOMPARE(button->accessibleName(), QString());
        dialog.show();
        const auto read = [](const QAbstractButton *what) {
            return QAccessible::queryAccessibleInterface(const_cast<QAbstractButton *>(what));
        };
        QVERIFY(button->isVisible());
        QVERIFY(read(button)->state().invisible);
        QVERIFY(read(button)->state().offscreen);
        QCOMPARE(read(button)->role(), QAccessible::NoRole);
        QCOMPARE(read(button)->text(QAccessible::Name), QString());
        const auto *ok =
            dialog.findChild<QDialogButtonBox *>("buttonBox")->button(QDialogButtonBox::Ok);
        QVERIFY(!read(ok)->state().invisible);
        QCOMPARE(read(ok)->role(), QAccessible::Button);
        // Only its left edge lies within the dialog.
        QVERIFY(button->geometry().right() > dialog.width());
    }

    void aboutText()
    {
        AboutDialog dialog;
        const auto *label = dialog.findChild<QLabel *>("label");
        const QStringList lines = plain(label).split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines.at(0), QString("Tolvane Modem Connector"));
        QCOMPARE(lines.at(1), QString());
        QVERIFY(!lines.at(2).isEmpty());
        QVERIFY(lines.at(3).contains("2010"));
        QVERIFY(lines.at(4).startsWith("Website: "));
        const QString html = label->text();
        QVERIFY(html.contains("font-family:'MS Shell Dlg 2'; font-size:8.25pt; font-weight:400;"));
        QVERIFY(html.contains("font-size:16pt; font-weight:600;\">Tolvane Modem Connector<"));
        // The two lines of the notice, "Website: " and its link.
        QCOMPARE(html.count("<span style=\" font-size:9pt;"), 4);
        QCOMPARE(html.count("margin-top:12px; margin-bottom:12px;"), 2);
        QVERIFY(html.contains("<a href=\"https://www.brantiq.example/\">"));
    }

    void creditText()
    {
        CreditDialog dialog;
        const auto *label = dialog.findChild<QLabel *>("label");
        const QStringList lines = plain(label).split('\n');
        QCOMPARE(lines.size(), 7);
        QCOMPARE(lines.at(0), QString("Developed by"));
        QCOMPARE(lines.at(1), QString());
        QCOMPARE(lines.at(2), QString("Brantiq Developer Network"));
        QVERIFY(!lines.at(3).isEmpty());
        QVERIFY(lines.at(4).startsWith("Cell: "));
        QVERIFY(lines.at(5).startsWith("Email: "));
        QVERIFY(lines.at(6).startsWith("Website: "));
        const QString html = label->text();
        QVERIFY(html.contains("font-size:10pt; font-weight:600;\">Developed by<"));
        QVERIFY(html.contains("font-size:10pt; font-weight:600; color:#00aa00;\">Brantiq"));
        QCOMPARE(html.count("font-size:10pt; color:#000000;"), 4);
        QVERIFY(html.contains("<a href=\"https://www.brantiq.example/\">"));
    }

    /// The placeholders have to fit as well as what they stand for.
    void textsFit()
    {
        AboutDialog about;
        CreditDialog credits;
        for (const QDialog *dialog :
             {static_cast<QDialog *>(&about), static_cast<QDialog *>(&credits)}) {
            const auto *label = dialog->findChild<QLabel *>("label");
            const QSize wanted = label->sizeHint();
            QVERIFY2(wanted.width() <= label->width(), qPrintable(QString::number(wanted.width())));
            // The lowest paragraph's margin may be cut, its text may not.
            QVERIFY2(wanted.height() <= label->height() + 12,
                     qPrintable(QString::number(wanted.height())));
        }
    }

    void languageChange()
    {
        AboutDialog about;
        CreditDialog credits;
        about.show();
        credits.show();
        auto *aboutLabel = about.findChild<QLabel *>("label");
        auto *creditLabel = credits.findChild<QLabel *>("label");
        const QString aboutText = aboutLabel->text();
        const QString creditText = creditLabel->text();
        {
            MarkingTranslator translator;
            QCoreApplication::installTranslator(&translator);
            QTRY_COMPARE(about.windowTitle(), QString("[AboutDialog]About"));
            QCOMPARE(aboutLabel->text(), "[AboutDialog]" + aboutText);
            QTRY_COMPARE(credits.windowTitle(), QString("[CreditDialog]Credits"));
            QCOMPARE(creditLabel->text(), "[CreditDialog]" + creditText);
            QCOMPARE(credits.findChild<QPushButton *>("pushButton")->text(), QString());
            QCoreApplication::removeTranslator(&translator);
        }
        QTRY_COMPARE(about.windowTitle(), QString("About"));
        QTRY_COMPARE(creditLabel->text(), creditText);
    }

    void okAccepts_data() { addDialogs(); }
    void okAccepts()
    {
        const std::unique_ptr<QDialog> dialog = makeDialog();
        const QSignalSpy accepted(dialog.get(), &QDialog::accepted);
        const QSignalSpy finished(dialog.get(), &QDialog::finished);
        dialog->show();
        auto *box = dialog->findChild<QDialogButtonBox *>();
        QTest::mouseClick(box->button(QDialogButtonBox::Ok), Qt::LeftButton);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(accepted.count(), 1);
        QCOMPARE(finished.count(), 1);
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
    }

    void closingRejects_data() { addDialogs(); }
    void closingRejects()
    {
        const std::unique_ptr<QDialog> dialog = makeDialog();
        const QSignalSpy rejected(dialog.get(), &QDialog::rejected);
        dialog->show();
        dialog->close();
        QVERIFY(!dialog->isVisible());
        QCOMPARE(rejected.count(), 1);
        QCOMPARE(dialog->result(), int(QDialog::Rejected));
    }

    void onlyAcceptedIsConnected_data() { addDialogs(); }
    void onlyAcceptedIsConnected()
    {
        const std::unique_ptr<QDialog> dialog = makeDialog();
        dialog->show();
        auto *box = dialog->findChild<QDialogButtonBox *>();
        emit box->rejected();
        QVERIFY(dialog->isVisible());
        emit box->accepted();
        QVERIFY(!dialog->isVisible());
    }

    /// Enter closes, and the keyboard's first stop is Ok.
    void keyboard_data() { addDialogs(); }
    void keyboard()
    {
        const std::unique_ptr<QDialog> dialog = makeDialog();
        dialog->show();
        QVERIFY(QTest::qWaitForWindowActive(dialog.get()));
        auto *box = dialog->findChild<QDialogButtonBox *>();
        QTRY_COMPARE(QApplication::focusWidget(), box->button(QDialogButtonBox::Ok));
        // The link can be reached as well.
        auto *label = dialog->findChild<QLabel *>("label");
        for (int stop = 0; stop < 3 && !label->hasFocus(); ++stop)
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(label->hasFocus());
        QTest::keyClick(label, Qt::Key_Escape);
        QVERIFY(!dialog->isVisible());
        dialog->show();
        QTest::keyClick(dialog.get(), Qt::Key_Enter);
        QVERIFY(!dialog->isVisible());
        QCOMPARE(dialog->result(), int(QDialog::Accepted));
    }

    void tenthClickShowsDevelopers()
    {
        CreditDialog dialog;
        dialog.show();
        auto *button = dialog.findChild<QPushButton *>("pushButton");
        for (int click = 1; click <= 9; ++click)
            QCOMPARE(clickAndAnswer(button).title, QString());
        for (int click = 10; click <= 11; ++click) {
            const Box box = clickAndAnswer(button);
            QCOMPARE(box.title, QString("Developers"));
            QCOMPARE(box.parent, static_cast<QWidget *>(&dialog));
            QCOMPARE(box.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
            QCOMPARE(box.icon, QMessageBox::Information);
            const QStringList lines = box.text.split('\n');
            QCOMPARE(lines.first(), QString("The program is developed by"));
            QVERIFY(lines.size() > 1);
            for (int i = 1; i < lines.size(); ++i) {
                QVERIFY(lines.at(i).startsWith(QString("%1. ").arg(i)));
                QVERIFY(lines.at(i).contains('(') && lines.at(i).endsWith(')'));
            }
        }
        QVERIFY(dialog.isVisible());
    }

    void developersAreNotTranslated()
    {
        CreditDialog dialog;
        dialog.show();
        auto *button = dialog.findChild<QPushButton *>("pushButton");
        for (int click = 1; click <= 9; ++click)
            clickAndAnswer(button);
        MarkingTranslator translator;
        QCoreApplication::installTranslator(&translator);
        const Box box = clickAndAnswer(button);
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(box.title, QString("Developers"));
        QVERIFY(box.text.startsWith("The program is developed by\n"));
    }

    void twoDialogsCountSeparately()
    {
        CreditDialog first;
        CreditDialog second;
        first.show();
        second.show();
        auto *firstButton = first.findChild<QPushButton *>("pushButton");
        auto *secondButton = second.findChild<QPushButton *>("pushButton");
        for (int click = 1; click <= 9; ++click) {
            QCOMPARE(clickAndAnswer(firstButton).title, QString());
            QCOMPARE(clickAndAnswer(secondButton).title, QString());
        }
        QCOMPARE(clickAndAnswer(firstButton).parent, static_cast<QWidget *>(&first));
        QCOMPARE(clickAndAnswer(secondButton).parent, static_cast<QWidget *>(&second));
    }

    /// The slot exists and erases the store, but no control reaches it.
    void erasingSlotIsUnreached()
    {
        QTest::ignoreMessage(QtWarningMsg, "QMetaObject::connectSlotsByName: No matching signal "
                                           "for on_pushButton_2_clicked()");
        CreditDialog dialog;
        dialog.show();
        QVERIFY(!dialog.findChild<QObject *>("pushButton_2"));
        QSettings().setValue("NoOfDialups", 3);
        const QList<QAbstractButton *> buttons = dialog.findChildren<QAbstractButton *>();
        QCOMPARE(buttons.size(), 2);
        for (QAbstractButton *button : buttons) {
            for (int click = 1; click <= 3; ++click)
                button->click();
        }
        QCOMPARE(QSettings().value("NoOfDialups").toInt(), 3);

        QVERIFY(QMetaObject::invokeMethod(&dialog, "on_pushButton_2_clicked"));
        QVERIFY(QSettings().allKeys().isEmpty());
    }

private:
    static void checkButtonBox(const QDialog &dialog, const QRect &geometry)
    {
        const auto *box = dialog.findChild<QDialogButtonBox *>("buttonBox");
        QCOMPARE(box->geometry(), geometry);
        QCOMPARE(box->orientation(), Qt::Horizontal);
        QCOMPARE(box->standardButtons(), QDialogButtonBox::StandardButtons(QDialogButtonBox::Ok));
    }

    static void addDialogs()
    {
        QTest::addColumn<bool>("about");
        QTest::newRow("About") << true;
        QTest::newRow("Credits") << false;
    }

    /// The dialog of the current row.
    static std::unique_ptr<QDialog> makeDialog()
    {
        if (qstrcmp(QTest::currentDataTag(), "About") == 0)
            return std::make_unique<AboutDialog>();
        return std::make_unique<CreditDialog>();
    }

    std::unique_ptr<TestSettings> m_settings;
};

QTEST_MAIN(DialogsTest)
#include "dialogs_test.moc"
