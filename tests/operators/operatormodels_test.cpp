// What the views are told of the offers and of the user's list.

#include "operators/catalogue.h"
#include "operators/offermodel.h"
#include "operators/operatorlistmodel.h"
#include "tests/operators/providersample.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include <memory>

class OperatorModelsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void everyChangeIsAnnounced();
    void checkMarksOfAllRowsAreDrawnAgain();
    void headings();
    void remarks();
    void rowsThatCannotBeChanged();
    void checkedByTheView();

private:
    static QStringList headingsOf(const QAbstractItemModel &model);
    QString remark(const QString &apn) const;

    const Catalogue m_catalogue{readBytes(sampleXml), "de"};
    std::unique_ptr<OperatorListModel> m_list;
    std::unique_ptr<OfferModel> m_offers;
};

void OperatorModelsTest::init()
{
    m_list = std::make_unique<OperatorListModel>();
    m_offers = std::make_unique<OfferModel>(m_catalogue, m_list.get(), nullptr);
    m_list->begin({{{"Own", "own.net"}}, Origin::Own});
    m_offers->show(m_catalogue.countries().at(0).offers);
}

void OperatorModelsTest::everyChangeIsAnnounced()
{
    const auto reports = QAbstractItemModelTester::FailureReportingMode::QtTest;
    const QAbstractItemModelTester list(m_list.get(), reports);
    const QAbstractItemModelTester offers(m_offers.get(), reports);
    // The numbers of rows before and after each change, as a view hears them.
    QList<int> listRows;
    QList<int> offerRows;
    for (const auto signal :
         {&QAbstractItemModel::modelAboutToBeReset, &QAbstractItemModel::modelReset}) {
        connect(m_list.get(), signal, this, [&] { listRows.append(m_list->rowCount()); });
        connect(m_offers.get(), signal, this, [&] { offerRows.append(m_offers->rowCount()); });
    }
    m_offers->toggle(0);
    QCOMPARE(listRows, QList<int>({1, 2}));
    m_offers->show(m_catalogue.find("mono"));
    QCOMPARE(offerRows, QList<int>({6, 2}));
    m_offers->show({});
    // There is no row that could have changed.
    QSignalSpy drawn(m_offers.get(), &QAbstractItemModel::dataChanged);
    m_list->remove({"Own"});
    QCOMPARE(drawn.size(), 0);
    QCOMPARE(m_list->rowCount(), 1);
    // A table has no rows below its rows.
    m_offers->show(m_catalogue.find("mono"));
    for (const QAbstractItemModel *model : {static_cast<QAbstractItemModel *>(m_list.get()),
                                            static_cast<QAbstractItemModel *>(m_offers.get())}) {
        QCOMPARE(model->rowCount(model->index(0, 0)), 0);
        QCOMPARE(model->columnCount(model->index(0, 0)), 0);
    }
}

/// The user removes an operator in the other view.
void OperatorModelsTest::checkMarksOfAllRowsAreDrawnAgain()
{
    m_offers->toggle(0);
    QSignalSpy drawn(m_offers.get(), &QAbstractItemModel::dataChanged);
    m_list->remove(m_list->own().keys());
    QCOMPARE(drawn.size(), 1);
    QCOMPARE(drawn.at(0).at(0).toModelIndex(), m_offers->index(0, OfferModel::Name));
    QCOMPARE(drawn.at(0).at(1).toModelIndex(),
             m_offers->index(m_offers->rowCount() - 1, OfferModel::Name));
    QCOMPARE(m_offers->index(0, OfferModel::Name).data(Qt::CheckStateRole).toInt(),
             int(Qt::Unchecked));
}

QStringList OperatorModelsTest::headingsOf(const QAbstractItemModel &model)
{
    QStringList texts;
    for (int column = 0; column < model.columnCount(); ++column)
        texts.append(model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString());
    return texts;
}

void OperatorModelsTest::headings()
{
    QCOMPARE(headingsOf(*m_offers), QStringList({"Operator", "Country", "Access point", "For"}));
    QCOMPARE(headingsOf(*m_list), QStringList({"Operator", "Access point"}));
    for (const QAbstractItemModel *model : {static_cast<QAbstractItemModel *>(m_list.get()),
                                            static_cast<QAbstractItemModel *>(m_offers.get())}) {
        QVERIFY(!model->headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());
        QVERIFY(!model->headerData(0, Qt::Horizontal, Qt::ToolTipRole).isValid());
    }
}

QString OperatorModelsTest::remark(const QString &apn) const
{
    for (int row = 0; row < m_offers->rowCount(); ++row) {
        if (m_offers->offerAt(row).apn == apn)
            return m_offers->index(row, OfferModel::Remarks).data().toString();
    }
    return "no such offer";
}

void OperatorModelsTest::remarks()
{
    QCOMPARE(remark("two.de"), QString("prepaid"));
    QCOMPARE(remark("three.de"), QString("contract; password"));
    QCOMPARE(remark("wap.de"), QString("WAP"));
    QCOMPARE(remark("five.de"), QString());
}

/// The built-in list cannot be changed, and looks like it.
void OperatorModelsTest::rowsThatCannotBeChanged()
{
    QVERIFY(m_list->flags(m_list->index(0, 0)) & Qt::ItemIsEnabled);
    m_list->begin({{{"Warid", "internet"}}, Origin::BuiltIn});
    QCOMPARE(m_list->flags(m_list->index(0, 0)), Qt::ItemFlags(Qt::ItemNeverHasChildren));
}

void OperatorModelsTest::checkedByTheView()
{
    const QModelIndex first = m_offers->index(0, OfferModel::Name);
    QSignalSpy toggled(m_offers.get(), &OfferModel::toggled);
    QVERIFY(m_offers->setData(first, Qt::Checked, Qt::CheckStateRole));
    QVERIFY(m_list->has(m_offers->offerAt(0)));
    // Once more changes nothing.
    QVERIFY(m_offers->setData(first, Qt::Checked, Qt::CheckStateRole));
    QVERIFY(m_list->has(m_offers->offerAt(0)));
    QCOMPARE(toggled.size(), 1);
}

QTEST_GUILESS_MAIN(OperatorModelsTest)
#include "operatormodels_test.moc"
