#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

struct Offer;

// A list of operators: operator name to access point name (APN), as the key
// "MobileOperators" holds it. Any thread.

/// Why this cannot be an operator's name, as a sentence for the user; "" when it
/// can.
QString nameProblem(const QString &name);

/// Why this cannot be an access point name; "" when it can.
QString apnProblem(const QString &apn);

/// The name under which the list has the offer; "" when it does not have it.
QString nameInList(const QVariantMap &list, const Offer &offer);

/// Puts the offer into the list, unless it is there, and returns its name: the
/// offer's own, or one that tells more where another operator has that.
QString addToList(QVariantMap *list, const Offer &offer);

/// The list as a readable text, `NAME = APN`, one a line, UTF-8, in the order in
/// which the main window shows them. A name that could be mistaken for something
/// else stands in double quotes.
QByteArray listAsText(const QVariantMap &list);

/// What a text of this form holds. Empty lines and lines that begin with "#" are
/// left out.
struct ListFromText {
    QVariantMap list;
    /// Why the text is none, as a sentence that names the line; "" when it is.
    /// Nothing of such a text is to be used.
    QString problem;
};
ListFromText listFromText(const QByteArray &text);
