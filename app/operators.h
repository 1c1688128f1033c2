#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

// The mobile operators and their access point names (APNs). A map stored under
// "MobileOperators" replaces the built-in table as a whole. Any thread.

/// The built-in table: operator name to APN.
QVariantMap BuiltInMobileOperators();

/// The table in use: operator name to APN. Empty when the stored value is not a map.
QVariantMap MobileOperatorsMap();

/// The operator names in ascending order.
QStringList MobileOperatorNames();

/// The operator's APN; "" for an unknown name.
QString MobileOperatorApn(const QString &operatorName);
