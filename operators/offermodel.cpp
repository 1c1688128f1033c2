#include "operators/offermodel.h"

#include "operators/operatorlistmodel.h"

OfferModel::OfferModel(const Catalogue &catalogue, OperatorListModel *list, QObject *parent)
    : QAbstractTableModel(parent), m_catalogue(catalogue), m_list(list)
{
    connect(list, &OperatorListModel::changed, this, [this] {
        if (!m_places.isEmpty())
            emit dataChanged(index(0, Name), index(rowCount() - 1, Name), {Qt::CheckStateRole});
    });
}

void OfferModel::show(const QVector<int> &places)
{
    beginResetModel();
    m_places = places;
    endResetModel();
}

void OfferModel::toggle(int row)
{
    emit toggled(m_list->toggle(offerAt(row)));
}

int OfferModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_places.size());
}

int OfferModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

Qt::ItemFlags OfferModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    return index.column() == Name ? flags | Qt::ItemIsUserCheckable : flags;
}

QVariant OfferModel::data(const QModelIndex &index, int role) const
{
    const Offer &offer = offerAt(index.row());
    if (role == Qt::CheckStateRole && index.column() == Name)
        return m_list->has(offer) ? Qt::Checked : Qt::Unchecked;
    if (role != Qt::DisplayRole)
        return {};
    switch (index.column()) {
    case Name:
        return offer.name;
    case CountryName:
        return offer.countryName;
    case Apn:
        return offer.apn;
    default:
        return offer.plans + (offer.plans.isEmpty() || offer.mark.isEmpty() ? "" : "; ") +
               offer.mark;
    }
}

bool OfferModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (role != Qt::CheckStateRole || index.column() != Name)
        return false;
    const bool isWanted = value.toInt() == Qt::Checked;
    if (isWanted != m_list->has(offerAt(index.row())))
        toggle(index.row());
    return true;
}

QVariant OfferModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal)
        return {};
    switch (section) {
    case Name:
        return tr("Operator");
    case CountryName:
        return tr("Country");
    case Apn:
        return tr("Access point");
    default:
        return tr("For");
    }
}
