#pragma once

#include "operators/providertable.h"

#include <QString>
#include <QVector>

/// An access point that can be put into the list of operators.
struct Offer {
    /// What the list shows; no other offer of the country has the same name.
    QString name;
    QString apn;
    /// Of whom the access point is; the place in Catalogue::countries().
    int country = 0;
    QString countryName;
    /// "contract", "prepaid", "contract, prepaid" or "".
    QString plans;
    /// In a few words what is special about it, such as "name, password"; "".
    QString mark;
    /// The same as a sentence for the user; "".
    QString note;
    /// What a search looks through: folded by searchForm().
    QString searchText;
};

struct CatalogueCountry {
    QString code;
    QString name;
    /// Places in Catalogue::offers(), in the order of their names.
    QVector<int> offers;
    /// How many access points are no offers: those that carry picture messages
    /// only, and those whose name no phone would take.
    int leftOut = 0;
};

/// What a user chooses from: the access points of the world that lead to the
/// Internet, under names that tell them apart. Does not change once it is made.
class Catalogue
{
public:
    /// `ownCountry` (a code) comes first; the others follow by their names.
    Catalogue(const ProviderTable &table, const QString &ownCountry);

    const QVector<CatalogueCountry> &countries() const { return m_countries; }
    const QVector<Offer> &offers() const { return m_offers; }
    /// See ProviderTable::problem.
    QString problem() const { return m_problem; }
    /// The place of the country with this code, in either case; -1.
    int countryWithCode(const QString &code) const;

    /// The offers that have each of the words in a name, in their country's
    /// name, in English or one of its own languages, or in the access point.
    /// Accents and case make no difference. In the order of countries().
    QVector<int> find(const QString &words) const;

private:
    QVector<CatalogueCountry> m_countries;
    QVector<Offer> m_offers;
    QString m_problem;
};

/// A sentence that says how many access points are left out, and why.
QString leftOutText(int count);

/// A text as searches compare it: without case and accents.
QString searchForm(const QString &text);
