#include "app/settings.h"

#include <QDebug>
#include <QSettings>
#include <QTemporaryFile>

namespace settingskeys {

QString port(int portNumber)
{
    return QString("ports/%1").arg(portNumber);
}

} // namespace settingskeys

void storeSetting(const QString &key, const QVariant &value)
{
    QSettings settings;
    settings.setFallbacksEnabled(false); // an administrator's value may change
    if (!settings.contains(key) || settings.value(key).toString() != value.toString())
        settings.setValue(key, value);
}

bool hasDialupEntry()
{
    // INI values are read back as strings. Qt 5 converts when it compares a
    // string with a number and Qt 6 does not, so both are compared as text.
    return QSettings().value(settingskeys::NoOfDialups, 0).toString() != QLatin1String("0");
}

bool canBeWritten(const QSettings &settings)
{
    // A write makes a new file beside the old one and puts it in its place.
    QTemporaryFile beside(settings.fileName() + ".XXXXXX");
    return settings.isWritable() && beside.open();
}

void reportUnwritableSettings()
{
    const QSettings settings;
    if (!canBeWritten(settings))
        qWarning().noquote() << "The settings cannot be written:" << settings.fileName();
}
