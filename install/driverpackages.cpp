#include "install/driverpackages.h"

#include "app/diagnostics.h"
#include "app/identity.h"
#include "app/settings.h"
#include "install/installationsteps.h"
#include "install/windowsrelease.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <QSettings>

using namespace platform;

namespace {

/// The path with the separators that the installation functions expect.
QString nativePath(QString path)
{
    return path.replace('/', '\\');
}

} // namespace

bool SetupAllInfs()
{
    QSettings settings;
    if (settings.value(settingskeys::isINFSetupDone, false).toBool())
        return true;

    WCHAR infPath[PathBufferSize] = {};
    // Nobody waits for the installer: it may still run while the modem INF is
    // copied and while the next steps run. Kept on purpose.
    if (!RunDriverInstaller()) {
        logError("SetupAllInfs", "Port INF setup failed.");
        return false;
    }
    GetModemINFLocation(infPath);
    if (!CopyInf(infPath)) {
        logError("SetupAllInfs", "Modem INF setup failed.");
        return false;
    }
    settings.setValue(settingskeys::isINFSetupDone, true);
    return true;
}

bool RunDriverInstaller()
{
    const QString path = nativePath(applicationFolder() + "\\drivers\\InstallDriver.exe");
    qDebug() << "Installer location:" << Quoted(path);
    WCHAR application[PathBufferSize] = {};
    copyToBuffer(path, application, PathBufferSize);

    // CreateProcessW may write into the command line.
    WCHAR commandLine[32] = {};
    copyToBuffer("InstallDriver -a", commandLine, 32);
    StartupInfo startup{};
    startup.cb = sizeof startup;
    ProcessInformation process{};
    const bool created = current().CreateProcessW(application, commandLine, nullptr, nullptr, false,
                                                  0, nullptr, nullptr, &startup, &process);
    // If nothing was started both handles are null, and closing them does no
    // harm.
    current().CloseHandle(process.hProcess);
    current().CloseHandle(process.hThread);
    return created;
}

void GetModemINFLocation(WCHAR *buffer)
{
    const int code = GetWindowsVersionCode();
    // Codes of 64-bit systems begin at 20. An unknown release has code 0, so it
    // gets the 32-bit INF even on a 64-bit system. Kept on purpose.
    const QString path =
        nativePath(QString("%1\\%2\\modem_inf_%3.inf")
                       .arg(applicationFolder(), "drivers", QString::number(code < 20 ? 32 : 64)));
    copyToBuffer(path, buffer, PathBufferSize);
    logMessage(QString("GetModemINFLocation"), path);
}

bool CopyInf(const WCHAR *infPath)
{
    if (current().SetupCopyOEMInfW(infPath, infPath, SourceMediaNone, CopyInfCatalogOnly, nullptr,
                                   0, nullptr, nullptr))
        return true;
    logError("CopyInf", QString("Failed, location \"%1\" ").arg(fromWide(infPath)));
    return false;
}
