#include "app/settings.h"
#include "operators/operatorstore.h"
#include "tests/linux/fulldisk.h"
#include "tests/operators/operatorswindowbench.h"

#include <QListWidget>
#include <QSettings>

/// The window where its list is given up, or cannot be stored.
class OperatorsWindowStoreTest : public OperatorsWindowBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { m_window.reset(); }

    void listThatIsNotStoredYetIsRemoved();
    void onlyEntryIsRemoved();
    void nextEntryIsSelected();
    void nothingSelectedNothingRemoved();
    void closingStaysWhenSavingIsRefused();
    void severalAreNotEditedAtOnce();
    void withoutACountryTheOffersStay();
    void listThatCannotBeRemoved();
    void closingStaysWhereNothingCanBeSaved();

private:
    /// Takes the next box that opens, and keeps what it says.
    static void takeNextBox(QString *told)
    {
        QTimer::singleShot(0, qApp, [told] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            *told = box ? box->text() : QString("nothing");
            if (box)
                box->accept();
        });
    }
};

void OperatorsWindowStoreTest::listThatIsNotStoredYetIsRemoved()
{
    open();
    const QStringList builtIn = rows("listView");
    choose(0);
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
    QVERIFY(button("builtInButton")->isEnabled());
    answering([this] { button("builtInButton")->click(); },
              [](QDialog *dialog) { press(dialog, QMessageBox::Ok); });
    QCOMPARE(rows("listView"), builtIn);
    QVERIFY(label("stateLabel").startsWith("The built-in list is in use."));
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
}

void OperatorsWindowStoreTest::onlyEntryIsRemoved()
{
    open();
    const QStringList builtIn = rows("listView");
    choose(0);
    auto *list = part<QAbstractItemView>("listView");
    list->setCurrentIndex(list->model()->index(0, 0));
    button("removeButton")->click();
    QCOMPARE(rows("listView"), builtIn);
    QVERIFY(!list->selectionModel()->hasSelection());
    // Nothing of that list can be removed.
    list->setCurrentIndex(list->model()->index(0, 0));
    QVERIFY(!button("removeButton")->isEnabled());
}

// So that the key can be pressed again.
void OperatorsWindowStoreTest::nextEntryIsSelected()
{
    QCOMPARE(storeList(Scope::User, {{"A", "a"}, {"B", "b"}, {"C", "c"}, {"D", "d"}}), QString());
    open();
    auto *list = part<QAbstractItemView>("listView");
    const auto selected = [list] {
        const QModelIndexList rows = list->selectionModel()->selectedRows();
        return rows.size() == 1 ? rows.first().data().toString() : QString();
    };
    list->setFocus();
    list->setCurrentIndex(list->model()->index(1, 0));
    for (const char *next : {"C", "D", "A"}) {
        QTest::keyClick(list, Qt::Key_Delete);
        QCOMPARE(selected(), QString(next));
    }
}

void OperatorsWindowStoreTest::nothingSelectedNothingRemoved()
{
    QCOMPARE(storeList(Scope::User, {{"Own", "own"}, {"Other", "other"}}), QString());
    open();
    auto *list = part<QAbstractItemView>("listView");
    list->setFocus();
    list->clearSelection();
    QTest::keyClick(list, Qt::Key_Delete);
    QCOMPARE(rows("listView"), QStringList({"Other", "Own"}));
}

void OperatorsWindowStoreTest::closingStaysWhenSavingIsRefused()
{
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Warid");
    open();
    choose(0);
    answering([this] { m_window->close(); },
              [](QDialog *dialog) {
                  QTimer::singleShot(0, qApp, [] {
                      static_cast<QDialog *>(QApplication::activeModalWidget())->reject();
                  });
                  press(dialog, QMessageBox::Save);
              });
    QVERIFY(m_window->isVisible());
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
}

void OperatorsWindowStoreTest::severalAreNotEditedAtOnce()
{
    QCOMPARE(storeList(Scope::User, {{"Own", "own"}, {"Other", "other"}}), QString());
    open();
    auto *list = part<QAbstractItemView>("listView");
    list->setFocus();
    list->selectAll();
    QVERIFY(!button("editButton")->isEnabled());
    bool isOpened = false;
    QTimer::singleShot(0, qApp, [&isOpened] {
        if (QWidget *dialog = QApplication::activeModalWidget()) {
            isOpened = true;
            dialog->close();
        }
    });
    emit list->activated(list->model()->index(0, 0)); // Enter
    QCoreApplication::processEvents();
    QVERIFY(!isOpened);
    QCOMPARE(rows("listView"), QStringList({"Other", "Own"}));
}

void OperatorsWindowStoreTest::withoutACountryTheOffersStay()
{
    open();
    const QStringList offers = rows("offerView");
    part<QListWidget>("countryList")->setCurrentRow(-1);
    QCOMPARE(rows("offerView"), offers);
}

void OperatorsWindowStoreTest::listThatCannotBeRemoved()
{
    QCOMPARE(storeList(Scope::User, {{"Own", "own"}, {"Other", "other"}}), QString());
    open();
    QString told;
    const FullDisk fullDisk;
    answering([this] { button("builtInButton")->click(); },
              [&told](QDialog *dialog) {
                  takeNextBox(&told);
                  press(dialog, QMessageBox::Ok);
              });
    QVERIFY2(told.startsWith("The settings cannot be written: "), qPrintable(told));
    QCOMPARE(rows("listView"), QStringList({"Other", "Own"}));
    QVERIFY(button("builtInButton")->isEnabled()); // to be tried again
}

void OperatorsWindowStoreTest::closingStaysWhereNothingCanBeSaved()
{
    open();
    choose(0);
    QString told;
    const FullDisk fullDisk;
    answering([this] { m_window->close(); },
              [&told](QDialog *dialog) {
                  takeNextBox(&told);
                  press(dialog, QMessageBox::Save);
              });
    QVERIFY2(told.startsWith("The settings cannot be written: "), qPrintable(told));
    QVERIFY(m_window->isVisible());
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
}

QTEST_MAIN(OperatorsWindowStoreTest)
#include "operatorswindow_store_test.moc"
