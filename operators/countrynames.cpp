#include "operators/countrynames.h"

#include <QLocale>

namespace {

/// "de" of "de_DE"; "" of "C".
QString countryOf(const QLocale &locale)
{
    const QString code = locale.name().section('_', 1).toLower();
    return code.size() == 2 ? code : QString();
}

} // namespace

QString systemCountry()
{
    return countryOf(QLocale::system());
}

QMultiHash<QString, QString> nativeCountryNames()
{
    QMultiHash<QString, QString> names;
    const QList<QLocale> all =
        QLocale::matchingLocales(QLocale::AnyLanguage, QLocale::AnyScript, QLocale::AnyCountry);
    for (const QLocale &locale : all) {
        const QString code = countryOf(locale);
        const QString name = locale.nativeCountryName();
        if (!names.contains(code, name))
            names.insert(code, name);
    }
    return names;
}
