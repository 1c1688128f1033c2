#include "app/operators.h"

#include "app/settings.h"

#include <QSettings>

QVariantMap BuiltInMobileOperators()
{
    QVariantMap builtIn;
    builtIn.insert("Warid", "internet");
    builtIn.insert("Teletalk", "internet");
    builtIn.insert("Banglalink", "blweb");
    builtIn.insert("Robi (Aktel)", "internet");
    builtIn.insert("GrameenPhone", "gpinternet");
    return builtIn;
}

QVariantMap MobileOperatorsMap()
{
    return QSettings().value(settingskeys::MobileOperators, BuiltInMobileOperators()).toMap();
}

QStringList MobileOperatorNames()
{
    return MobileOperatorsMap().keys();
}

QString MobileOperatorApn(const QString &operatorName)
{
    return MobileOperatorsMap()[operatorName].toString();
}
