#include "app/damagedsettings.h"

#include <QDebug>
#include <QFile>

namespace {

QByteArray contentOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether everything in the file, and in each of its fall-backs, can be read.
bool isSound(const QSettings &settings)
{
    // QSettings reads a section, and notices damage in it, only when a key is
    // asked for.
    settings.allKeys();
    return settings.status() != QSettings::FormatError;
}

} // namespace

void preserveDamagedSettings(const QSettings &settings)
{
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
        // Perhaps a fall-back is damaged and this file is sound. The copy has
        // no fall-backs and was not read before, so it tells.
        if (isSound(QSettings(copy, QSettings::IniFormat)))
            QFile::remove(copy);
        else
            qWarning().noquote() << "The settings file is damaged; a copy was kept as" << copy;
        return;
    }
}
