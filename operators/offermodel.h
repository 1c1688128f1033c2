#pragma once

#include "operators/catalogue.h"

#include <QAbstractTableModel>

class OperatorListModel;

/// The rows of the view that operators are chosen in: some of a catalogue's
/// offers, with a check mark for those that are in the user's list.
class OfferModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, CountryName, Apn, Remarks, ColumnCount };

    /// Both must outlive the model.
    OfferModel(const Catalogue &catalogue, OperatorListModel *list, QObject *parent);

    /// Shows the offers at these places of the catalogue.
    void show(const QVector<int> &places);
    const Offer &offerAt(int row) const { return m_catalogue.offers().at(m_places.at(row)); }
    void toggle(int row);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    /// The user has put an offer into the list, under this name, or taken it out.
    void toggled(const QString &name);

private:
    const Catalogue &m_catalogue;
    OperatorListModel *m_list;
    QVector<int> m_places;
};
