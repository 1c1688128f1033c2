#include "install/driverpackages.h"

#include "app/diagnostics.h"
#include "app/settings.h"
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

/// Added to a known release's base code.
int processorOffset(WORD architecture)
{
    switch (architecture) {
    case ArchitectureX64:
        return 20;
    case ArchitectureItanium:
        return 40;
    default:
        return 0;
    }
}

/// Windows XP Professional x64 reports the server's version number.
bool isXpX64(const OsVersionInfoEx &version, WORD architecture)
{
    return version.wProductType == ProductWorkstation && architecture == ArchitectureX64;
}

/// Releases of version 5.2. The second release of Windows Server 2003 is told
/// by a system metric, so that is asked first.
int baseCodeOf52(const OsVersionInfoEx &version, WORD architecture)
{
    if (current().GetSystemMetrics(MetricServerR2) != 0)
        return 6;
    if (version.wSuiteMask & SuiteStorageServer)
        return 4;
    return isXpX64(version, architecture) ? 2 : 3;
}

/// The release without its processor; 0 for one that the driver packages do
/// not know.
int baseCode(const OsVersionInfoEx &version, WORD architecture)
{
    if (version.dwPlatformId != PlatformWin32Nt)
        return 0;
    const bool workstation = version.wProductType == ProductWorkstation;
    if (version.dwMajorVersion == 5) {
        switch (version.dwMinorVersion) {
        case 0:
            return 1;
        case 1:
            return 2;
        case 2:
            return baseCodeOf52(version, architecture);
        }
    }
    if (version.dwMajorVersion == 6) {
        switch (version.dwMinorVersion) {
        case 0:
            return workstation ? 7 : 8;
        case 1:
            return workstation ? 10 : 9;
        }
    }
    return 0;
}

WORD nativeArchitecture()
{
    SystemInfo information{};
    const QString kernel = "kernel32.dll";
    const HMODULE module = current().GetModuleHandleW(wide(kernel));
    const auto getNativeSystemInfo = reinterpret_cast<GetNativeSystemInfoFunction>(
        current().GetProcAddress(module, "GetNativeSystemInfo"));
    if (getNativeSystemInfo)
        getNativeSystemInfo(&information);
    else
        current().GetSystemInfo(&information);
    return information.wProcessorArchitecture;
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

int GetWindowsVersionCode()
{
    OsVersionInfoEx version{};
    version.dwOSVersionInfoSize = sizeof version;
    // When it fails the record stays clear, which is a release not known.
    current().GetVersionExW(&version);
    const WORD architecture = nativeArchitecture();
    const int code = baseCode(version, architecture);
    return code == 0 ? 0 : code + processorOffset(architecture);
}

bool CopyInf(const WCHAR *infPath)
{
    if (current().SetupCopyOEMInfW(infPath, infPath, SourceMediaNone, CopyInfCatalogOnly, nullptr,
                                   0, nullptr, nullptr))
        return true;
    logError("CopyInf", QString("Failed, location \"%1\" ").arg(fromWide(infPath)));
    return false;
}
