#include "operators/catalogue.h"

#include "operators/countrynames.h"
#include "operators/operatorlist.h"

#include <QHash>
#include <QSet>

#include <algorithm>
#include <utility>

namespace {

bool isForInternet(const AccessPoint &point)
{
    // "ia" is what a phone signs on with in networks that no GPRS modem knows.
    return point.usage != "mms" && point.usage != "ia" && apnProblem(point.apn).isEmpty();
}

/// The provider's access points that can be offered. What differs only in plan
/// or password comes out as one: the list of operators can hold neither.
QVector<AccessPoint> offered(const Provider &provider)
{
    QVector<AccessPoint> points;
    for (const AccessPoint &point : provider.accessPoints) {
        if (!isForInternet(point))
            continue;
        const auto same = std::find_if(points.begin(), points.end(), [&](const AccessPoint &other) {
            return other.apn == point.apn && other.names.value(0) == point.names.value(0);
        });
        if (same == points.end()) {
            points.append(point);
            continue;
        }
        same->plans += point.plans;
        if (same->userName.isEmpty() && same->password.isEmpty()) {
            same->userName = point.userName;
            same->password = point.password;
        }
    }
    return points;
}

QString nameOf(const Provider &provider, const AccessPoint &point, bool isOnlyOne)
{
    const QString operatorName = provider.names.first();
    const QString name = point.names.value(0);
    if (isOnlyOne || name.isEmpty())
        return operatorName;
    if (name.contains(operatorName, Qt::CaseInsensitive))
        return name;
    return operatorName + " - " + name;
}

QString plansOf(const AccessPoint &point)
{
    QStringList plans;
    if (point.plans.contains("postpaid"))
        plans.append("contract");
    if (point.plans.contains("prepaid"))
        plans.append("prepaid");
    return plans.join(", ");
}

void addNote(const QString &mark, const QString &note, Offer *offer)
{
    offer->mark += (offer->mark.isEmpty() ? "" : "; ") + mark;
    offer->note += (offer->note.isEmpty() ? "" : " ") + note;
}

void addNotes(const AccessPoint &point, Offer *offer)
{
    const bool hasName = !point.userName.isEmpty();
    if (point.usage == "wap")
        addNote("WAP", "Made for the operator's own pages (WAP): it may not reach the Internet.",
                offer);
    if (!hasName && point.password.isEmpty())
        return;
    const QString name = QString("the name \"%1\"").arg(point.userName);
    const QString password = QString("the password \"%1\"").arg(point.password);
    const QString asked = !hasName                   ? password
                          : point.password.isEmpty() ? name
                                                     : name + " and " + password;
    addNote(!hasName                   ? "password"
            : point.password.isEmpty() ? "name"
                                       : "name, password",
            QString("The network may ask for %1. Most networks take any; if yours refuses, see "
                    "\"Names and passwords\" in the manual.")
                .arg(asked),
            offer);
}

/// Adds what `textOf` says of an offer to the names that stand more than once,
/// where it tells them apart.
template<typename TextOf> void tellApart(QVector<Offer> *offers, TextOf textOf)
{
    QHash<QString, QVector<int>> sameName;
    for (int i = 0; i < offers->size(); ++i)
        sameName[offers->at(i).name].append(i);
    for (const QVector<int> &places : std::as_const(sameName)) {
        QSet<QString> texts;
        for (const int place : places)
            texts.insert(textOf(offers->at(place)));
        if (places.size() < 2 || texts.size() < places.size())
            continue;
        for (const int place : places) {
            Offer &offer = (*offers)[place];
            const QString text = textOf(offer);
            if (!text.isEmpty())
                offer.name += " (" + text + ")";
        }
    }
}

void numberTheRest(QVector<Offer> *offers)
{
    QSet<QString> taken;
    for (Offer &offer : *offers) {
        const QString name = offer.name;
        for (int number = 2; taken.contains(offer.name); ++number)
            offer.name = QString("%1 %2").arg(name).arg(number);
        taken.insert(offer.name);
    }
}

QVector<Offer> offersOf(const Country &country, int *leftOut)
{
    QVector<Offer> offers;
    for (const Provider &provider : country.providers) {
        const QVector<AccessPoint> points = offered(provider);
        *leftOut += static_cast<int>(
            std::count_if(provider.accessPoints.begin(), provider.accessPoints.end(),
                          [](const AccessPoint &point) { return !isForInternet(point); }));
        for (const AccessPoint &point : points) {
            Offer offer;
            offer.name = nameOf(provider, point, points.size() == 1);
            offer.apn = point.apn;
            offer.plans = plansOf(point);
            addNotes(point, &offer);
            offer.searchText = (provider.names + point.names).join(' ') + ' ' + point.apn;
            offers.append(offer);
        }
    }
    tellApart(&offers, [](const Offer &offer) { return offer.plans; });
    tellApart(&offers, [](const Offer &offer) { return offer.apn; });
    numberTheRest(&offers);
    std::sort(offers.begin(), offers.end(), [](const Offer &left, const Offer &right) {
        const int order = left.name.compare(right.name, Qt::CaseInsensitive);
        return order != 0 ? order < 0 : left.name < right.name;
    });
    return offers;
}

} // namespace

QString leftOutText(int count)
{
    return QString("Left out: %1 for picture messages (MMS) only, or without a usable name.")
        .arg(count);
}

QString searchForm(const QString &text)
{
    QString form;
    for (const QChar letter : text.normalized(QString::NormalizationForm_KD)) {
        if (letter.category() != QChar::Mark_NonSpacing)
            form += letter;
    }
    return form.toCaseFolded();
}

Catalogue::Catalogue(const ProviderTable &table, const QString &ownCountry)
    : m_problem(table.problem)
{
    const QMultiHash<QString, QString> nativeNames = nativeCountryNames();
    QVector<Country> countries = table.countries;
    for (Country &country : countries) {
        if (country.names.isEmpty())
            country.names.append(country.code.toUpper());
    }
    std::stable_sort(countries.begin(), countries.end(),
                     [&](const Country &left, const Country &right) {
                         const bool isOwn = left.code == ownCountry;
                         if (isOwn != (right.code == ownCountry))
                             return isOwn;
                         return left.names.first().localeAwareCompare(right.names.first()) < 0;
                     });
    for (const Country &country : std::as_const(countries)) {
        CatalogueCountry entry;
        entry.code = country.code;
        entry.name = country.names.first();
        QStringList searched = country.names + nativeNames.values(country.code);
        searched.append(country.code);
        const QString searchText = searchForm(searched.join(' '));
        const QVector<Offer> offers = offersOf(country, &entry.leftOut);
        for (Offer offer : offers) {
            offer.country = static_cast<int>(m_countries.size());
            offer.countryName = entry.name;
            offer.searchText = searchForm(offer.name + ' ' + offer.searchText) + ' ' + searchText;
            entry.offers.append(static_cast<int>(m_offers.size()));
            m_offers.append(offer);
        }
        m_countries.append(entry);
    }
}

int Catalogue::countryWithCode(const QString &code) const
{
    for (int i = 0; i < m_countries.size(); ++i) {
        if (m_countries.at(i).code.compare(code, Qt::CaseInsensitive) == 0)
            return i;
    }
    return -1;
}

QVector<int> Catalogue::find(const QString &words) const
{
    const QStringList parts = searchForm(words).split(' ', Qt::SkipEmptyParts);
    QVector<int> found;
    for (int i = 0; i < m_offers.size(); ++i) {
        const QString &text = m_offers.at(i).searchText;
        if (std::all_of(parts.begin(), parts.end(),
                        [&](const QString &part) { return text.contains(part); }))
            found.append(i);
    }
    return found;
}
