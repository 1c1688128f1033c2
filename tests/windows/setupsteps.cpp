// Runs the five set-up steps without a window, as the wizard does, for the
// self-check of the double libraries. With an argument one call is made
// wrongly, and the check has to find it.

#include "app/identity.h"
#include "dialup/phonebookentry.h"
#include "install/devicerescan.h"
#include "install/driverpackages.h"
#include "install/modeminstallation.h"
#include "install/portdiscovery.h"
#include "platform/windows/windowsplatform.h"

#include <QCoreApplication>

namespace {

using namespace platform;

class BreakingPlatform : public WindowsPlatform
{
public:
    explicit BreakingPlatform(const QString &what) : m_what(what) {}

    HDEVINFO SetupDiGetClassDevsW(const Guid *ClassGuid, const WCHAR *Enumerator, HWND hwndParent,
                                  DWORD Flags) override
    {
        return WindowsPlatform::SetupDiGetClassDevsW(ClassGuid, Enumerator, hwndParent,
                                                     m_what == "flag" ? 0 : Flags);
    }

    DWORD RasSetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD dwEntryInfoSize, BYTE *lpbDeviceInfo,
                                 DWORD dwDeviceInfoSize) override
    {
        if (m_what == "text")
            lpRasEntry->szDeviceType[5] = 0;
        return WindowsPlatform::RasSetEntryPropertiesW(
            lpszPhonebook, lpszEntry, lpRasEntry, m_what == "size" ? RasEntrySize : dwEntryInfoSize,
            lpbDeviceInfo, dwDeviceInfoSize);
    }

    DWORD RasGetEntryPropertiesW(const WCHAR *lpszPhonebook, const WCHAR *lpszEntry,
                                 RasEntry *lpRasEntry, DWORD *lpdwEntryInfoSize,
                                 BYTE *lpbDeviceInfo, DWORD *lpdwDeviceInfoSize) override
    {
        if (m_what == "zero" && lpRasEntry)
            lpRasEntry->dwVpnStrategy = 1;
        return WindowsPlatform::RasGetEntryPropertiesW(lpszPhonebook, lpszEntry, lpRasEntry,
                                                       lpdwEntryInfoSize, lpbDeviceInfo,
                                                       lpdwDeviceInfoSize);
    }

    LONG RegSetValueExW(HKEY hKey, const WCHAR *lpValueName, DWORD Reserved, DWORD dwType,
                        const BYTE *lpData, DWORD cbData) override
    {
        return WindowsPlatform::RegSetValueExW(hKey, lpValueName, Reserved, dwType, lpData,
                                               m_what == "bytes" ? cbData - 2 : cbData);
    }

    LONG RegCloseKey(HKEY hKey) override
    {
        return m_what == "open-key" ? 0 : WindowsPlatform::RegCloseKey(hKey);
    }

    BOOL CloseHandle(HANDLE hObject) override
    {
        return m_what == "open-process" ? 1 : WindowsPlatform::CloseHandle(hObject);
    }

    BOOL CreateProcessW(const WCHAR *lpApplicationName, WCHAR *lpCommandLine,
                        void *lpProcessAttributes, void *lpThreadAttributes, BOOL bInheritHandles,
                        DWORD dwCreationFlags, void *lpEnvironment, const WCHAR *lpCurrentDirectory,
                        StartupInfo *lpStartupInfo,
                        ProcessInformation *lpProcessInformation) override
    {
        if (m_what == "command-line")
            lpCommandLine[13] = 0;
        if (m_what == "behind")
            lpCommandLine[31] = 'x';
        return WindowsPlatform::CreateProcessW(
            lpApplicationName, lpCommandLine, lpProcessAttributes, lpThreadAttributes,
            bInheritHandles, dwCreationFlags, lpEnvironment, lpCurrentDirectory, lpStartupInfo,
            lpProcessInformation);
    }

private:
    QString m_what;
};

} // namespace

int main(int argc, char *argv[])
{
    const QString what = argc > 1 ? argv[1] : "";
    BreakingPlatform platform(what);
    setCurrent(&platform);
    const QCoreApplication application(argc, argv);
    setApplicationIdentity();
    if (what == "order") {
        // The rescan before the driver packages are there.
        ReScanDriver();
        return SetupAllInfs() && SetCurrentPortSettings() && InstallModem() &&
                       createDialupConnection()
                   ? 0
                   : 1;
    }
    return SetupAllInfs() && ReScanDriver() && SetCurrentPortSettings() && InstallModem() &&
                   createDialupConnection()
               ? 0
               : 1;
}
