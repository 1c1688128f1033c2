#include "app/formfont.h"
#include "app/operators.h"
#include "app/settings.h"
#include "operators/operatorstore.h"
#include "tests/operators/operatorswindowbench.h"
#include "tests/support/markingtranslator.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QSet>
#include <QSettings>

class OperatorsWindowTest : public OperatorsWindowBench
{
    Q_OBJECT

private slots:
    void initTestCase() { useFormFont(); }
    void init() { begin(); }
    void cleanup() { m_window.reset(); }

    void opensOnTheOwnCountry();
    void firstChoiceTakesThePlaceOfTheBuiltInList();
    void storedListIsChecked();
    void orderOfTheMainWindow();
    void saved();
    void keyboardAlone();
    void mouseAlone();
    void builtInListCannotBeEdited();
    void search();
    void noteOfTheCurrentRow();
    void ownEntries();
    void entriesThatAreRefused();
    void severalRemoved();
    void builtInListAgain();
    void presetIsNamed();
    void chosenOperatorVanishes();
    void unwritableStore();
    void closingWithChanges_data();
    void closingWithChanges();
    void providersThatCannotBeRead();
    void namesAreNoMarkup();
    void languageChange();
    void textsFit();
};

void OperatorsWindowTest::opensOnTheOwnCountry()
{
    open();
    QCOMPARE(m_window->windowTitle(), QString("Tolvane Mobile Operators"));
    QCOMPARE(rows("countryList"), QStringList({"Germany", "Austria", "Brazil"}));
    QCOMPARE(part<QListWidget>("countryList")->currentRow(), 0);
    QCOMPARE(rows("offerView").size(), 6);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(part<QLineEdit>("searchEdit")));
    QCOMPARE(rows("listView"),
             QStringList({"Banglalink", "GrameenPhone", "Robi (Aktel)", "Teletalk", "Warid"}));
    QCOMPARE(label("stateLabel"),
             QString("The built-in list is in use. What you choose or add takes its place."));
    QVERIFY(!button("saveButton")->isEnabled());
    QVERIFY(!button("builtInButton")->isEnabled());
    QVERIFY(!button("editButton")->isEnabled());
    QVERIFY(!part<QLabel>("problemLabel")->isVisible());
    // Nothing is written by looking.
    QVERIFY(!QFile::exists(m_store->userFile()));
    part<QListWidget>("countryList")->setCurrentRow(2);
    QCOMPARE(rows("offerView"), QStringList("Mono"));
    part<QListWidget>("countryList")->setCurrentRow(0);
    QCOMPARE(rows("offerView").size(), 6);
}

void OperatorsWindowTest::firstChoiceTakesThePlaceOfTheBuiltInList()
{
    open();
    choose(3);
    QCOMPARE(rows("listView"), QStringList("Twelve & Co - Night (prepaid)"));
    QCOMPARE(rows("offerView").at(3), QString("*Twelve & Co - Night (prepaid)"));
    QCOMPARE(label("stateLabel"), QString("Not saved yet."));
    // Taken back, everything is as before.
    choose(3);
    QCOMPARE(rows("listView").size(), 5);
    QVERIFY(!button("saveButton")->isEnabled());
}

void OperatorsWindowTest::storedListIsChecked()
{
    QCOMPARE(storeList(Scope::User, {{"Mono", "mono.at"}, {"Mono (Brazil)", "mono.br"}}),
             QString());
    open("br");
    QCOMPARE(rows("offerView"), QStringList("*Mono"));
    choose(0);
    QCOMPARE(rows("listView"), QStringList("Mono"));
    QCOMPARE(rows("offerView"), QStringList("Mono"));
    part<QListWidget>("countryList")->setCurrentRow(1);
    QCOMPARE(rows("offerView"), QStringList("*Mono"));
    choose(0);
    QCOMPARE(label("stateLabel"),
             QString("The list is empty. Choose an operator, or use the built-in list."));
    QVERIFY(!button("saveButton")->isEnabled());
    QVERIFY(button("builtInButton")->isEnabled());
}

void OperatorsWindowTest::orderOfTheMainWindow()
{
    QCOMPARE(storeList(Scope::User, {{"b", "1"}, {"B", "2"}, {"a", "3"}}), QString());
    open();
    QCOMPARE(rows("listView"), MobileOperatorNames());
    QCOMPARE(rows("listView"), QStringList({"B", "a", "b"}));
}

void OperatorsWindowTest::saved()
{
    open("br");
    choose(0);
    QTest::mouseClick(button("saveButton"), Qt::LeftButton);
    QCOMPARE(MobileOperatorsMap(), QVariantMap({{"Mono", "mono.br"}}));
    QCOMPARE(label("stateLabel"),
             QString("Saved. If Tolvane Modem Connector is open, close it and start it again."));
    QVERIFY(!button("saveButton")->isEnabled());
    // A second press of the key presses nothing else.
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(part<QTreeView>("offerView")));
    m_window->close();
    QVERIFY(!m_window->isVisible());
}

/// From the start to the end without the mouse.
void OperatorsWindowTest::keyboardAlone()
{
    open();
    const auto press = [](Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    };
    QTest::keyClicks(QApplication::focusWidget(), "austria");
    press(Qt::Key_Down);
    press(Qt::Key_Space);
    QCOMPARE(rows("listView"), QStringList("Mono"));
    press(Qt::Key_S, Qt::AltModifier);
    press(Qt::Key_Escape);
    QCOMPARE(part<QLineEdit>("searchEdit")->text(), QString());
    press(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget(), static_cast<QWidget *>(part<QListWidget>("countryList")));
    QTest::keyClicks(QApplication::focusWidget(), "bra");
    QCOMPARE(rows("offerView"), QStringList("Mono"));
    press(Qt::Key_Tab);
    press(Qt::Key_Return);
    QCOMPARE(rows("listView"), QStringList({"Mono", "Mono (Brazil)"}));
    // Every control can be reached.
    QSet<QWidget *> reached;
    for (int stop = 0; stop < 12; ++stop) {
        reached.insert(QApplication::focusWidget());
        press(Qt::Key_Tab);
    }
    for (const char *name :
         {"searchEdit", "countryList", "offerView", "listView", "addButton", "editButton",
          "removeButton", "builtInButton", "saveButton", "closeButton"})
        QVERIFY2(reached.contains(part<QWidget>(name)), name);
    part<QTreeView>("listView")->setFocus();
    press(Qt::Key_Home);
    press(Qt::Key_Delete);
    QCOMPARE(rows("listView"), QStringList("Mono (Brazil)"));
    press(Qt::Key_V, Qt::AltModifier);
    QTRY_COMPARE(MobileOperatorNames(), QStringList("Mono (Brazil)"));
    press(Qt::Key_Escape);
    QVERIFY(!m_window->isVisible());
}

void OperatorsWindowTest::mouseAlone()
{
    open();
    auto *view = part<QTreeView>("offerView");
    const QRect row = view->visualRect(view->model()->index(0, 0));
    const QPoint mark(row.left() + row.height() / 2, row.center().y());
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, mark);
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, mark);
    QCOMPARE(rows("offerView").at(0), QString("Twelve & Co"));
    QVERIFY(!view->model()->setData(view->model()->index(0, 1), Qt::Checked, Qt::CheckStateRole));
    QVERIFY(!view->model()->setData(view->model()->index(0, 0), "Other"));
    // A click elsewhere only shows the note, a double click chooses.
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, row.center());
    QCOMPARE(rows("offerView").at(0), QString("Twelve & Co"));
    QTest::mouseDClick(view->viewport(), Qt::LeftButton, {}, row.center());
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
}

void OperatorsWindowTest::builtInListCannotBeEdited()
{
    open();
    auto *view = part<QTreeView>("listView");
    view->setCurrentIndex(view->model()->index(0, 0));
    for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_Return})
        QTest::keyClick(view, key);
    QVERIFY(!QApplication::activeModalWidget());
    QCOMPARE(rows("listView").size(), 5);
    QVERIFY(!button("saveButton")->isEnabled());
}

void OperatorsWindowTest::search()
{
    open();
    auto *edit = part<QLineEdit>("searchEdit");
    auto *view = part<QTreeView>("offerView");
    QVERIFY(view->isColumnHidden(1));
    edit->setText("mono");
    QCOMPARE(rows("offerView"), QStringList({"Mono", "Mono"}));
    QVERIFY(!view->isColumnHidden(1));
    QCOMPARE(view->model()->index(1, 1).data().toString(), QString("Brazil"));
    QCOMPARE(part<QListWidget>("countryList")->currentRow(), -1);
    edit->setText("mono x");
    QCOMPARE(rows("offerView"), QStringList());
    QCOMPARE(label("noteLabel"),
             QString("Nothing was found. With Add, below, you can type your operator's name and "
                     "access point; the operator tells you the access point."));
    edit->clear();
    QCOMPARE(rows("offerView").size(), 6);
    QCOMPARE(part<QListWidget>("countryList")->currentRow(), 0);
    edit->setText("mono");
    part<QListWidget>("countryList")->setCurrentRow(1);
    QCOMPARE(edit->text(), QString());
    QCOMPARE(rows("offerView"), QStringList("Mono"));
}

void OperatorsWindowTest::noteOfTheCurrentRow()
{
    open();
    auto *view = part<QTreeView>("offerView");
    QVERIFY(label("noteLabel").contains("picture messages"));
    view->setCurrentIndex(view->model()->index(2, 0));
    QVERIFY(label("noteLabel").contains("The network may ask for the password \"x\"."));
    view->setCurrentIndex(view->model()->index(4, 3));
    QVERIFY(label("noteLabel").contains("it may not reach the Internet"));
}

void OperatorsWindowTest::ownEntries()
{
    open();
    const QString name = QString::fromUtf8("\"موبايلي\" ") + QString(180, 'x');
    answering([this] { button("addButton")->click(); },
              [&](QDialog *dialog) {
                  QCOMPARE(dialog->windowTitle(), QString("Add an Operator"));
                  type(dialog, "  " + name + " ", "own.net");
                  dialog->accept();
              });
    QCOMPARE(rows("listView"), QStringList(name));
    answering([this] { button("editButton")->click(); },
              [&](QDialog *dialog) {
                  QCOMPARE(dialog->windowTitle(), QString("Edit an Operator"));
                  QCOMPARE(dialog->findChild<QLineEdit *>("nameEdit")->text(), name);
                  type(dialog, "Own", "other.net");
                  dialog->accept();
              });
    QCOMPARE(rows("listView"), QStringList("Own"));
    answering([this] { button("editButton")->click(); },
              [&](QDialog *dialog) {
                  type(dialog, "Nobody", "x");
                  dialog->reject();
              });
    button("saveButton")->click();
    QCOMPARE(MobileOperatorsMap(), QVariantMap({{"Own", "other.net"}}));
    part<QTreeView>("listView")->setCurrentIndex(part<QTreeView>("listView")->model()->index(0, 0));
    QVERIFY(button("removeButton")->isEnabled());
    button("removeButton")->click();
    QCOMPARE(rows("listView"), QStringList());
}

void OperatorsWindowTest::entriesThatAreRefused()
{
    QCOMPARE(storeList(Scope::User, {{"Taken", "t"}, {"Other", "o"}}), QString());
    open();
    answering([this] { button("addButton")->click(); },
              [](QDialog *dialog) {
                  auto *ok = dialog->findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok);
                  QVERIFY(!ok->isEnabled());
                  const auto problem = [&](const QString &name, const QString &apn) {
                      type(dialog, name, apn);
                      const QString text = dialog->findChild<QLabel *>("problemLabel")->text();
                      return QString(ok->isEnabled() ? "ok " : "") + text;
                  };
                  QCOMPARE(problem("", "a"), QString("An operator needs a name."));
                  QCOMPARE(problem("Taken", "a"),
                           QString("The list has an operator of this name already."));
                  QCOMPARE(problem("New", ""),
                           QString("An operator needs an access point name (APN)."));
                  QVERIFY(problem("New", "a b").startsWith("An access point name has letters"));
                  QCOMPARE(problem("New", "a"), QString("ok "));
                  dialog->reject();
              });
    part<QTreeView>("listView")->setCurrentIndex(part<QTreeView>("listView")->model()->index(1, 0));
    answering([this] { button("editButton")->click(); },
              [](QDialog *dialog) {
                  // Its own name is not taken by another.
                  QCOMPARE(dialog->findChild<QLineEdit *>("nameEdit")->text(), QString("Taken"));
                  QCOMPARE(dialog->findChild<QLabel *>("problemLabel")->text(), QString());
                  dialog->reject();
              });
}

void OperatorsWindowTest::severalRemoved()
{
    QCOMPARE(storeList(Scope::User, {{"A", "a"}, {"B", "b"}, {"C", "c"}}), QString());
    open();
    QVERIFY(!button("removeButton")->isEnabled());
    auto *view = part<QTreeView>("listView");
    view->setCurrentIndex(view->model()->index(0, 0));
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    QVERIFY(!button("editButton")->isEnabled());
    button("removeButton")->click();
    QCOMPARE(rows("listView"), QStringList("C"));
}

void OperatorsWindowTest::builtInListAgain()
{
    QCOMPARE(storeList(Scope::User, {{"Own", "own"}}), QString());
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Own");
    open();
    const auto click = [this] { button("builtInButton")->click(); };
    answering(click, [](QDialog *dialog) {
        const QString text = static_cast<QMessageBox *>(dialog)->text();
        QVERIFY2(text.startsWith("Your list is removed.") && text.contains("\"Own\" is chosen"),
                 qPrintable(text));
        QCOMPARE(static_cast<QMessageBox *>(dialog)->button(QMessageBox::Ok)->text(),
                 QString("Remove"));
        dialog->reject();
    });
    QCOMPARE(MobileOperatorNames(), QStringList("Own"));
    answering(click, [](QDialog *dialog) { press(dialog, QMessageBox::Ok); });
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
    QCOMPARE(rows("listView").size(), 5);
    QVERIFY(!button("builtInButton")->isEnabled());
    QVERIFY(label("stateLabel").startsWith("Saved."));
}

void OperatorsWindowTest::presetIsNamed()
{
    QCOMPARE(storeList(Scope::System, {{"Preset", "p"}}), QString());
    open();
    QCOMPARE(rows("listView"), QStringList("Preset"));
    QCOMPARE(label("stateLabel"), QString("A list that was preset for this computer is in use. "
                                          "What you choose or add takes its place."));
    choose(0);
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
}

void OperatorsWindowTest::chosenOperatorVanishes()
{
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Warid");
    open();
    choose(0);
    const auto click = [this] { button("saveButton")->click(); };
    answering(click, [](QDialog *dialog) {
        QCOMPARE(static_cast<QMessageBox *>(dialog)->text(),
                 QString("\"Warid\" is chosen in the main window, and the list will not have it "
                         "any more. \"Twelve & Co\" will be chosen instead."));
        QCOMPARE(static_cast<QMessageBox *>(dialog)->textFormat(), Qt::PlainText);
        QCOMPARE(static_cast<QMessageBox *>(dialog)->button(QMessageBox::Ok)->text(),
                 QString("Save"));
        dialog->reject();
    });
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
    QCOMPARE(label("stateLabel"), QString("Not saved yet."));
    answering(click, [](QDialog *dialog) { press(dialog, QMessageBox::Ok); });
    QCOMPARE(MobileOperatorNames(), QStringList("Twelve & Co"));
    // The main window then begins with the first.
    QVERIFY(!QSettings().contains(settingskeys::CurrentMobileOperator));
    // A preset that is no list has nothing in its place.
    TestSettings::write(m_store->systemFile(), "[General]\nMobileOperators=none\n");
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Twelve & Co");
    answering([this] { button("builtInButton")->click(); },
              [](QDialog *dialog) {
                  QCOMPARE(static_cast<QMessageBox *>(dialog)->text(),
                           QString("Your list is removed.\n\n\"Twelve & Co\" is chosen in the main "
                                   "window, and the list will not have it any more."));
                  dialog->reject();
              });
    QCOMPARE(QSettings().value(settingskeys::CurrentMobileOperator).toString(),
             QString("Twelve & Co"));
}

void OperatorsWindowTest::unwritableStore()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, "/proc/settings");
    open();
    choose(0);
    answering([this] { button("saveButton")->click(); },
              [](QDialog *dialog) {
                  const QString text = static_cast<QMessageBox *>(dialog)->text();
                  QVERIFY2(text.startsWith("The settings cannot be written: /proc/settings/"),
                           qPrintable(text));
                  QCOMPARE(static_cast<QMessageBox *>(dialog)->textFormat(), Qt::PlainText);
                  dialog->accept();
              });
    // What was chosen is still there, to be tried again.
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
    QVERIFY(button("saveButton")->isEnabled());
}

void OperatorsWindowTest::closingWithChanges_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<bool>("isOpen");
    QTest::addColumn<bool>("isStored");
    QTest::newRow("save") << int(QMessageBox::Save) << false << true;
    QTest::newRow("discard") << int(QMessageBox::Discard) << false << false;
    QTest::newRow("cancel") << int(QMessageBox::Cancel) << true << false;
}

void OperatorsWindowTest::closingWithChanges()
{
    QFETCH(const int, answer);
    QFETCH(const bool, isOpen);
    QFETCH(const bool, isStored);
    open();
    choose(0);
    answering([this] { button("closeButton")->click(); },
              [&](QDialog *dialog) {
                  QCOMPARE(static_cast<QMessageBox *>(dialog)->text(),
                           QString("The list has changed. Save it?"));
                  press(dialog, QMessageBox::StandardButton(answer));
              });
    QCOMPARE(m_window->isVisible(), isOpen);
    QCOMPARE(QSettings().contains(settingskeys::MobileOperators), isStored);
}

void OperatorsWindowTest::providersThatCannotBeRead()
{
    open("de", "/nowhere/list.xml");
    QVERIFY(part<QLabel>("problemLabel")->isVisible());
    QCOMPARE(label("problemLabel"),
             QString("The list of mobile operators cannot be read: /nowhere/list.xml"));
    QCOMPARE(rows("countryList"), QStringList());
    part<QLineEdit>("searchEdit")->setText("x");
    part<QLineEdit>("searchEdit")->clear();
    QTest::keyClick(part<QTreeView>("offerView"), Qt::Key_Space);
    answering([this] { button("addButton")->click(); },
              [](QDialog *dialog) {
                  type(dialog, "Own", "own.net");
                  dialog->accept();
              });
    button("saveButton")->click();
    QCOMPARE(MobileOperatorNames(), QStringList("Own"));
}

void OperatorsWindowTest::namesAreNoMarkup()
{
    QByteArray bytes = sampleXml;
    bytes.replace("<name>Mono</name>", "<name>&lt;b&gt;M&lt;/b&gt;</name>");
    TestSettings::write(m_folder.filePath("providers.xml"), bytes);
    open("br");
    QVERIFY(label("noteLabel").startsWith("<b>M</b>: mono.br"));
    QCOMPARE(part<QLabel>("noteLabel")->textFormat(), Qt::PlainText);
}

void OperatorsWindowTest::languageChange()
{
    open();
    const QString note = label("noteLabel");
    MarkingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    QTRY_COMPARE(m_window->windowTitle(), QString("[OperatorsWindow]Tolvane Mobile Operators"));
    QVERIFY(label("stateLabel").startsWith("[OperatorsWindow]The built-in"));
    QCOMPARE(label("noteLabel"), note);
    QCoreApplication::removeTranslator(&translator);
    QTRY_COMPARE(m_window->windowTitle(), QString("Tolvane Mobile Operators"));
}

/// In the smallest window that has to do, with the longest texts.
void OperatorsWindowTest::textsFit()
{
    TestSettings::write(m_folder.filePath("damaged.xml"), sampleXml.left(1800));
    for (const QString &file : {providersFile(), m_folder.filePath("damaged.xml")}) {
        open("br", file);
        m_window->resize(640, 480);
        QCoreApplication::processEvents();
        QCOMPARE(m_window->size(), QSize(640, 480));
        auto *offers = part<QTreeView>("offerView");
        const int shown = offers->viewport()->height() / offers->sizeHintForRow(0);
        QVERIFY2(shown >= 5, qPrintable(QString::number(shown)));
        QVERIFY(part<QTreeView>("listView")->viewport()->height() >= 3 * offers->sizeHintForRow(0));
        for (int row = 0; row < offers->model()->rowCount(); ++row) {
            offers->setCurrentIndex(offers->model()->index(row, 0));
            const auto *note = part<QLabel>("noteLabel");
            QVERIFY2(note->heightForWidth(note->width()) <= note->height(),
                     qPrintable(note->text()));
        }
        // No column is pushed out or squeezed, in a search either.
        for (const char *words : {"", "a"}) {
            part<QLineEdit>("searchEdit")->setText(words);
            QCoreApplication::processEvents();
            int used = 0;
            for (int column = 0; column < offers->model()->columnCount(); ++column) {
                used += offers->columnWidth(column);
                QVERIFY(offers->isColumnHidden(column) || offers->columnWidth(column) >= 70);
            }
            QVERIFY(used <= offers->viewport()->width());
            QVERIFY(offers->columnWidth(0) >= 130);
        }
        for (const QPushButton *each : m_window->findChildren<QPushButton *>()) {
            const QSize text = each->fontMetrics().size(Qt::TextShowMnemonic, each->text());
            QVERIFY2(text.width() + 6 <= each->width(), qPrintable(each->text()));
        }
        for (const QLabel *each : m_window->findChildren<QLabel *>()) {
            if (each->isVisible() && !each->wordWrap())
                QVERIFY2(each->sizeHint().width() <= each->width(), qPrintable(each->text()));
        }
    }
}

QTEST_MAIN(OperatorsWindowTest)
#include "operatorswindow_test.moc"
