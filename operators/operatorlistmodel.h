#pragma once

#include "operators/operatorstore.h"

#include <QAbstractTableModel>

#include <iterator>

struct Offer;

/// The user's list of operators while it is changed, and the rows of the view
/// that shows it, in the order of the main window. As long as the user has no
/// list, the rows are those of the list that is in use instead; they cannot be
/// changed, and the first operator that is chosen or added takes their place.
class OperatorListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, Apn, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;

    /// Forgets all changes and begins with what is stored.
    void begin(const StoredList &stored);

    /// The user's list; what is to be stored.
    const QVariantMap &own() const { return m_own; }
    /// Whether the rows are the user's list.
    bool isOwn() const { return m_stored.origin == Origin::Own || !m_own.isEmpty(); }
    /// Whether own() differs from what is stored.
    bool isChanged() const;
    /// Where the list that is stored comes from.
    Origin origin() const { return m_stored.origin; }

    bool has(const Offer &offer) const;
    /// Adds the offer, or removes it when the list has it. Returns its name.
    QString toggle(const Offer &offer);
    /// Adds an operator; `oldName` is the one that it replaces, "" if none.
    void put(const QString &oldName, const QString &name, const QString &apn);
    void remove(const QStringList &names);

    QString nameAt(int row) const { return std::next(shown().begin(), row).key(); }
    QString apnAt(int row) const { return std::next(shown().begin(), row).value().toString(); }
    /// -1 when there is none of that name.
    int rowOf(const QString &name) const;

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

signals:
    /// After every change, when the rows are there.
    void changed();

private:
    const QVariantMap &shown() const { return isOwn() ? m_own : m_stored.list; }
    template<typename Change> void change(Change doChange);

    StoredList m_stored;
    QVariantMap m_own;
};
