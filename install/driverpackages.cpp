#include "install/driverpackages.h"

#include "app/diagnostics.h"
#include "app/settings.h"
#include "install/installationsteps.h"
#include "install/windowsrelease.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <QCoreApplication>
#include <QSettings>

using namespace platform;

namespace {

/// The path with the separators that the system's installation functions want.
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
    // The installer is not waited for: it may still be at work while the
    // modem INF is copied and the next steps run.
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
    const QString path =
        nativePath(QCoreApplication::applicationDirPath() + "\\drivers\\InstallDriver.exe");
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
    // When nothing was started there is nothing to close, and closing does no
    // harm.
    current().CloseHandle(process.hProcess);
    current().CloseHandle(process.hThread);
    return created;
}

void GetModemINFLocation(WCHAR *buffer)
{
    const int code = GetWindowsVersionCode();
    // The processor is read off the code, so a release that is not known gets
    // the 32-bit INF even on a 64-bit system.
    const QString path = nativePath(QString("%1\\%2\\modem_inf_%3.inf")
                                        .arg(QCoreApplication::applicationDirPath(), "drivers",
                                             QString::number(code < 20 ? 32 : 64)));
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
