#include "app/settings.h"

#include <QDebug>
#include <QFile>
#include <QSettings>

namespace settingskeys {

QString port(int portNumber)
{
    return QString("ports/%1").arg(portNumber);
}

} // namespace settingskeys

bool hasDialupEntry()
{
    // INI values read back as strings, and only Qt 5 converts when it compares
    // a string with a number; the texts compare alike everywhere.
    return QSettings().value(settingskeys::NoOfDialups, 0).toString() != QLatin1String("0");
}

void preserveDamagedSettings()
{
    const QSettings settings;
    if (settings.status() != QSettings::FormatError)
        return;
    const QString file = settings.fileName();
    if (!QFile::exists(file))
        return;
    for (int number = 1; number < 1000; ++number) {
        const QString copy = QString("%1.damaged%2").arg(file).arg(number);
        if (QFile::exists(copy))
            continue;
        if (QFile::copy(file, copy))
            qWarning().noquote() << "The settings file is damaged; a copy was kept as" << copy;
        else
            qWarning().noquote() << "The settings file is damaged and could not be copied:" << file;
        return;
    }
}
