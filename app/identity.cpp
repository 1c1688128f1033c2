#include "app/identity.h"

#include <QCoreApplication>
#include <QSettings>

namespace {

const char applicationName[] = "Tolvane Modem Connector";

} // namespace

void setApplicationIdentity()
{
    QCoreApplication::setOrganizationName("Brantiq Developer Network");
    QCoreApplication::setOrganizationDomain("brantiq.example");
    QCoreApplication::setApplicationName(applicationName);
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

platform::Program programIdentity()
{
    platform::Program program;
    program.name = applicationName;
    program.stateFolder = "tolvane-modem-connector";
    program.filePrefix = "tolvane-";
    program.helper = "tolvane-dialler-helper";
    program.modemPortMark = "TOLVANE_MODEM_PORT";
    program.modemPortName = UsbPortName;
    program.modemPortWords = "Modem Driver"; // as in both names of a phone's port
    return program;
}
