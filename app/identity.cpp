#include "app/identity.h"

#include <QCoreApplication>
#include <QSettings>

void setApplicationIdentity()
{
    QCoreApplication::setOrganizationName("Brantiq Developer Network");
    QCoreApplication::setOrganizationDomain("brantiq.example");
    QCoreApplication::setApplicationName("Tolvane Modem Connector");
    QSettings::setDefaultFormat(QSettings::IniFormat);
    // Only the system scope is moved. Settings are written to the user's own
    // file. An administrator can preset values in the delivered folder, which
    // the program only reads.
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope,
                       applicationFolder() + "/settings/");
}

QString applicationFolder()
{
    static const QString folder = QCoreApplication::applicationDirPath();
    return folder;
}
