#include "operators/operatorlistmodel.h"

#include "operators/operatorlist.h"

template<typename Change> void OperatorListModel::change(Change doChange)
{
    beginResetModel();
    doChange();
    endResetModel();
    emit changed();
}

void OperatorListModel::begin(const StoredList &stored)
{
    change([&] {
        m_stored = stored;
        m_own = stored.origin == Origin::Own ? stored.list : QVariantMap();
    });
}

bool OperatorListModel::isChanged() const
{
    return m_stored.origin == Origin::Own ? m_own != m_stored.list : !m_own.isEmpty();
}

bool OperatorListModel::has(const Offer &offer) const
{
    return !nameInList(m_own, offer).isEmpty();
}

QString OperatorListModel::toggle(const Offer &offer)
{
    QString name = nameInList(m_own, offer);
    change([&] {
        if (name.isEmpty())
            name = addToList(&m_own, offer);
        else
            m_own.remove(name);
    });
    return name;
}

void OperatorListModel::put(const QString &oldName, const QString &name, const QString &apn)
{
    change([&] {
        m_own.remove(oldName);
        m_own.insert(name, apn);
    });
}

void OperatorListModel::remove(const QStringList &names)
{
    change([&] {
        for (const QString &name : names)
            m_own.remove(name);
    });
}

int OperatorListModel::rowOf(const QString &name) const
{
    return static_cast<int>(shown().keys().indexOf(name));
}

int OperatorListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(shown().size());
}

int OperatorListModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

Qt::ItemFlags OperatorListModel::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags flags = QAbstractTableModel::flags(index);
    // Rows that cannot be changed look like it, and can be scrolled through.
    return isOwn() ? flags : flags & Qt::ItemNeverHasChildren;
}

QVariant OperatorListModel::data(const QModelIndex &index, int role) const
{
    if (role != Qt::DisplayRole)
        return {};
    return index.column() == Name ? nameAt(index.row()) : apnAt(index.row());
}

QVariant OperatorListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (role != Qt::DisplayRole || orientation != Qt::Horizontal)
        return {};
    return section == Name ? tr("Operator") : tr("Access point");
}
