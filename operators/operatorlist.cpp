#include "operators/operatorlist.h"

#include "operators/catalogue.h"

#include <algorithm>

namespace {

constexpr int LongestApn = 100; // octets, as the networks' standards limit it

/// The names that an offer may have in a list, the preferred one first.
QStringList possibleNames(const Offer &offer)
{
    return {offer.name, QString("%1 (%2)").arg(offer.name, offer.countryName),
            QString("%1 (%2, %3)").arg(offer.name, offer.countryName, offer.apn)};
}

bool isInQuotes(const QString &text)
{
    return text.size() >= 2 && text.startsWith('"') && text.endsWith('"');
}

QString written(QString name)
{
    if (!nameProblem(name).isEmpty())
        name = name.simplified();
    // At the beginning of a line the byte order mark is none of the name's letters.
    const bool isPlain = !name.isEmpty() && name == name.trimmed() && !name.startsWith('#') &&
                         !name.startsWith(QChar::ByteOrderMark) && !isInQuotes(name);
    return isPlain ? name : '"' + name + '"';
}

} // namespace

QString nameProblem(const QString &name)
{
    if (name.trimmed().isEmpty())
        return "An operator needs a name.";
    if (std::any_of(name.begin(), name.end(), [](QChar letter) {
            return letter.category() == QChar::Other_Control ||
                   letter.category() == QChar::Separator_Line ||
                   letter.category() == QChar::Separator_Paragraph;
        }))
        return "A name is one line without control characters.";
    return {};
}

QString apnProblem(const QString &apn)
{
    if (apn.isEmpty())
        return "An operator needs an access point name (APN).";
    const bool isPlain = std::all_of(apn.begin(), apn.end(), [](QChar letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
               (letter >= '0' && letter <= '9') || letter == '.' || letter == '-' || letter == '_';
    });
    if (!isPlain || apn.size() > LongestApn)
        return QString("An access point name has letters, digits, dots and hyphens, %1 at most, "
                       "and no blanks.")
            .arg(LongestApn);
    return {};
}

QString nameInList(const QVariantMap &list, const Offer &offer)
{
    for (const QString &name : possibleNames(offer)) {
        if (list.value(name).toString() == offer.apn)
            return name;
    }
    return {};
}

QString addToList(QVariantMap *list, const Offer &offer)
{
    const QString present = nameInList(*list, offer);
    if (!present.isEmpty())
        return present;
    const QStringList names = possibleNames(offer);
    // The last one can only be taken by something that a user made up.
    const QString name = *std::find_if(names.begin(), names.end() - 1,
                                       [list](const QString &one) { return !list->contains(one); });
    list->insert(name, offer.apn);
    return name;
}

QByteArray listAsText(const QVariantMap &list)
{
    QByteArray text;
    for (auto entry = list.begin(); entry != list.end(); ++entry)
        text += (written(entry.key()) + " = " + entry.value().toString()).toUtf8() + '\n';
    return text;
}

ListFromText listFromText(const QByteArray &text)
{
    ListFromText result;
    const auto fail = [&](int line, const QString &problem) {
        return ListFromText{{}, QString("Line %1: %2").arg(line).arg(problem)};
    };
    QByteArray bytes = text;
    if (bytes.startsWith("\xEF\xBB\xBF"))
        bytes.remove(0, 3); // as some editors mark UTF-8
    int number = 0;
    for (const QByteArray &part : bytes.split('\n')) {
        ++number;
        const QString line = QString::fromUtf8(part).trimmed();
        if (QString::fromUtf8(part).toUtf8() != part)
            return fail(number, "The text is not UTF-8.");
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        // An access point name has none, a name may.
        const int sign = static_cast<int>(line.lastIndexOf('='));
        if (sign < 0)
            return fail(number, "It is not of the form NAME = APN.");
        QString name = line.left(sign).trimmed();
        if (isInQuotes(name))
            name = name.mid(1, name.size() - 2);
        const QString apn = line.mid(sign + 1).trimmed();
        for (const QString &problem : {nameProblem(name), apnProblem(apn)}) {
            if (!problem.isEmpty())
                return fail(number, problem);
        }
        if (result.list.contains(name))
            return fail(number, QString("The name \"%1\" stands twice.").arg(name));
        result.list.insert(name, apn);
    }
    return result;
}
