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

namespace {

QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether everything in the file, or in any of its fall-backs, can be read.
bool isSound(const QSettings &settings)
{
    // A section is parsed, and its damage found, when a key is asked for.
    settings.allKeys();
    return settings.status() != QSettings::FormatError;
}

} // namespace

bool hasDialupEntry()
{
    // INI values read back as strings, and only Qt 5 converts when it compares
    // a string with a number; the texts compare alike everywhere.
    return QSettings().value(settingskeys::NoOfDialups, 0).toString() != QLatin1String("0");
}

void reportUnwritableSettings()
{
    const QSettings settings;
    if (!settings.isWritable())
        qWarning().noquote() << "The settings cannot be written:" << settings.fileName();
}

void preserveDamagedSettings()
{
    const QSettings settings;
    if (isSound(settings))
        return;
    const QString file = settings.fileName();
    const QByteArray damaged = contentOf(file);
    if (damaged.isEmpty())
        return;
    for (int number = 1; number < 1000; ++number) {
        const QString copy = QString("%1.damaged%2").arg(file).arg(number);
        if (QFile::exists(copy)) {
            if (contentOf(copy) == damaged)
                return;
            continue;
        }
        if (!QFile::copy(file, copy)) {
            qWarning().noquote() << "The settings file is damaged and could not be copied:" << file;
            return;
        }
        // It may be a fall-back that is damaged. The copy has none, and was
        // never parsed before.
        if (isSound(QSettings(copy, QSettings::IniFormat)))
            QFile::remove(copy);
        else
            qWarning().noquote() << "The settings file is damaged; a copy was kept as" << copy;
        return;
    }
}
