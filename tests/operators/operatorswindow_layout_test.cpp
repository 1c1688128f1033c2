#include "operators/offermodel.h"
#include "operators/operatorlistmodel.h"
#include "operators/operatorstore.h"
#include "tests/operators/operatorswindowbench.h"
#include "tests/support/markingtranslator.h"

#include <QResizeEvent>

/// How the window shares its room, and what it shows where there is little to show.
class OperatorsWindowLayoutTest : public OperatorsWindowBench
{
    Q_OBJECT

private slots:
    void init() { begin(); }
    void cleanup() { m_window.reset(); }

    void columnsHaveTheirShares();
    void noteHasRoomForThreeLines();
    void noteInFull();
    void noteInAnotherLanguage();
    void noCountries();
    void spaceChoosesInAnyColumn();
    void enterEditsAnEntry();

private:
    /// In hundredths of the view, the hidden ones left out.
    void compareShares(const QVector<QPair<int, int>> &shares) const
    {
        const auto *view = part<QTreeView>("offerView");
        for (const auto &[column, share] : shares)
            QCOMPARE(view->columnWidth(column), view->viewport()->width() * share / 100);
    }
};

void OperatorsWindowLayoutTest::columnsHaveTheirShares()
{
    open();
    auto *view = part<QTreeView>("offerView");
    for (const QSize &size : {QSize(640, 480), QSize(900, 900)}) {
        m_window->resize(size);
        compareShares({{OfferModel::Name, 40}, {OfferModel::Apn, 30}});
    }
    // From here on all rows fit in: no scroll bar changes the room.
    part<QLineEdit>("searchEdit")->setText("mono");
    compareShares({{OfferModel::Name, 34}, {OfferModel::CountryName, 18}, {OfferModel::Apn, 24}});
    part<QLineEdit>("searchEdit")->clear();
    compareShares({{OfferModel::Name, 40}, {OfferModel::Apn, 30}});
    view->setColumnWidth(OfferModel::Name, 100);
    QResizeEvent resized(view->viewport()->size(), view->viewport()->size());
    QCoreApplication::sendEvent(view->viewport(), &resized);
    compareShares({{OfferModel::Name, 40}, {OfferModel::Apn, 30}});
    const auto *list = part<QTreeView>("listView");
    QCOMPARE(list->columnWidth(OperatorListModel::Name), list->viewport()->width() * 3 / 5);
}

void OperatorsWindowLayoutTest::noteHasRoomForThreeLines()
{
    open();
    const auto *note = part<QLabel>("noteLabel");
    const int line = note->fontMetrics().lineSpacing();
    QVERIFY(note->minimumHeight() >= 3 * line);
    QVERIFY(note->minimumHeight() < 4 * line);
    QVERIFY(note->alignment() & Qt::AlignTop);
}

void OperatorsWindowLayoutTest::noteInFull()
{
    open();
    auto *view = part<QTreeView>("offerView");
    QCOMPARE(label("noteLabel"),
             QString("Twelve & Co: five.de\nLeft out: 2 for picture messages (MMS) only, or "
                     "without a usable name."));
    view->setCurrentIndex(view->model()->index(4, 0));
    QCOMPARE(label("noteLabel"),
             QString("Twelve & Co - Pages: wap.de. Made for the operator's own pages (WAP): it "
                     "may not reach the Internet."));
    part<QLineEdit>("searchEdit")->setText("austria");
    QCOMPARE(label("noteLabel"), QString("Mono: mono.at"));
    QByteArray bytes = sampleXml;
    bytes.replace("<username>mo</username><password>no</password>", "");
    TestSettings::write(m_folder.filePath("providers.xml"), bytes);
    open("br");
    QCOMPARE(label("noteLabel"),
             QString("Mono: mono.br\nLeft out: 1 for picture messages (MMS) only, or without a "
                     "usable name."));
}

void OperatorsWindowLayoutTest::noteInAnotherLanguage()
{
    open();
    part<QLineEdit>("searchEdit")->setText("mono x");
    MarkingTranslator translator;
    QCoreApplication::installTranslator(&translator);
    QTRY_VERIFY(label("noteLabel").startsWith("[OperatorsWindow]Nothing was found."));
    QCoreApplication::removeTranslator(&translator);
}

void OperatorsWindowLayoutTest::noCountries()
{
    open("de", "/nowhere/list.xml");
    const auto *view = part<QTreeView>("offerView");
    QVERIFY(view->isColumnHidden(OfferModel::CountryName));
    part<QLineEdit>("searchEdit")->setText("x");
    QVERIFY(!view->isColumnHidden(OfferModel::CountryName));
    QVERIFY(label("noteLabel").startsWith("Nothing was found."));
    part<QLineEdit>("searchEdit")->clear();
    QVERIFY(view->isColumnHidden(OfferModel::CountryName));
    QCOMPARE(label("noteLabel"), QString());
}

void OperatorsWindowLayoutTest::spaceChoosesInAnyColumn()
{
    open();
    auto *view = part<QTreeView>("offerView");
    view->setCurrentIndex(view->model()->index(0, OfferModel::Apn));
    QTest::keyClick(view, Qt::Key_Space);
    QCOMPARE(rows("listView"), QStringList("Twelve & Co"));
}

void OperatorsWindowLayoutTest::enterEditsAnEntry()
{
    QCOMPARE(storeList(Scope::User, {{"Own", "own"}}), QString());
    open();
    auto *list = part<QTreeView>("listView");
    list->setFocus();
    list->setCurrentIndex(list->model()->index(0, 0));
    answering([list] { QTest::keyClick(list, Qt::Key_Return); },
              [](QDialog *dialog) {
                  QCOMPARE(dialog->windowTitle(), QString("Edit an Operator"));
                  dialog->reject();
              });
}

QTEST_MAIN(OperatorsWindowLayoutTest)
#include "operatorswindow_layout_test.moc"
