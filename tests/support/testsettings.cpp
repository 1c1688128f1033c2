#include "tests/support/testsettings.h"

#include "app/identity.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace {

QString fileIn(const QTemporaryDir &dir)
{
    return dir.filePath(QCoreApplication::organizationName() + '/' +
                        QCoreApplication::applicationName() + ".ini");
}

} // namespace

TestSettings::TestSettings()
{
    setApplicationIdentity();
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_user.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, m_system.path());
}

void TestSettings::clear()
{
    QSettings settings;
    settings.clear();
    settings.sync();
}

QString TestSettings::userFile() const
{
    return fileIn(m_user);
}

QString TestSettings::systemFile() const
{
    return fileIn(m_system);
}

void TestSettings::write(const QString &fileName, const QByteArray &bytes)
{
    QFile file(fileName);
    if (!QDir().mkpath(QFileInfo(fileName).path()) || !file.open(QIODevice::WriteOnly) ||
        file.write(bytes) != bytes.size())
        qFatal("%s cannot be written", qPrintable(fileName));
}
