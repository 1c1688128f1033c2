#pragma once

#include <QMultiHash>
#include <QString>

/// The country that this computer is set up for, as two lower-case letters;
/// "" when it is set up for none.
QString systemCountry();

/// The countries' names in the languages that are spoken there, under the
/// countries' codes in lower case.
QMultiHash<QString, QString> nativeCountryNames();
