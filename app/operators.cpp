#include "app/operators.h"

#include "app/settings.h"

#include <QSettings>

QVariantMap MobileOperatorsMap()
{
    QVariantMap builtIn;
    builtIn.insert("Warid", "internet");
    builtIn.insert("Teletalk", "internet");
    builtIn.insert("Banglalink", "blweb");
    builtIn.insert("Robi (Aktel)", "internet");
    builtIn.insert("GrameenPhone", "gpinternet");
    return QSettings().value(settingskeys::MobileOperators, builtIn).toMap();
}

QStringList MobileOperatorNames()
{
    return MobileOperatorsMap().keys();
}

QString MobileOperatorApn(const QString &operatorName)
{
    return MobileOperatorsMap()[operatorName].toString();
}
