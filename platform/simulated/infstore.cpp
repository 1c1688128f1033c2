#include "platform/simulated/infstore.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <cstdio>

namespace platform::simulated {

QString hostPath(QString path)
{
    return path.replace('\\', '/');
}

QString windowsPath(QString path)
{
    return path.replace('/', '\\');
}

QString storedInfPath(const QString &directory, const QString &name)
{
    return directory + "/inf/" + name;
}

QString storedInf(const QString &directory, const QByteArray &content)
{
    for (const QString &name : QDir(directory + "/inf").entryList({"oem*.inf"}, QDir::Files)) {
        QFile file(storedInfPath(directory, name));
        if (file.open(QIODevice::ReadOnly) && file.readAll() == content)
            return name;
    }
    return QString();
}

QString storeInf(const QString &directory, const QByteArray &content)
{
    const QString known = storedInf(directory, content);
    if (!known.isEmpty())
        return known;
    QDir().mkpath(directory + "/inf");
    int number = 0;
    QString name;
    do {
        name = QString("oem%1.inf").arg(number++);
    } while (QFile::exists(storedInfPath(directory, name)));
    QSaveFile file(storedInfPath(directory, name));
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit())
        return name;
    std::fprintf(stderr, "simulated PC: %s: %s\n", qPrintable(file.fileName()),
                 qPrintable(file.errorString()));
    return QString();
}

} // namespace platform::simulated
