// Runs the five set-up steps without a window, as the wizard does, for the
// self-check of the double libraries. With an argument one call is made
// wrongly, and the check has to find it.

#include "app/identity.h"
#include "dialup/phonebookentry.h"
#include "install/installationsteps.h"
#include "platform/platform.h"

#include <QCoreApplication>

namespace {

using namespace platform;

/// Lets one call be made wrongly.
void breakCall(Platform *platform, const QString &what)
{
    if (what == "flag") {
        platform->SetupDiGetClassDevsW.wrap(
            [](auto &next, const Guid *guid, const WCHAR *enumerator, auto parent, DWORD) {
                return next(guid, enumerator, parent, 0);
            });
    } else if (what == "text" || what == "size") {
        platform->RasSetEntryPropertiesW.wrap([what](auto &next, const WCHAR *phonebook,
                                                     const WCHAR *name, RasEntry *entry,
                                                     DWORD bytes, auto... rest) {
            if (what == "text")
                entry->szDeviceType[5] = 0;
            return next(phonebook, name, entry, what == "size" ? RasEntrySize : bytes, rest...);
        });
    } else if (what == "zero") {
        platform->RasGetEntryPropertiesW.wrap([](auto &next, const WCHAR *phonebook,
                                                 const WCHAR *name, RasEntry *entry, auto... rest) {
            if (entry)
                entry->dwVpnStrategy = 1;
            return next(phonebook, name, entry, rest...);
        });
    } else if (what == "bytes") {
        platform->RegSetValueExW.wrap([](auto &next, auto key, const WCHAR *name, DWORD reserved,
                                         DWORD type, const BYTE *data, DWORD bytes) {
            return next(key, name, reserved, type, data, bytes - 2);
        });
    } else if (what == "open-key") {
        platform->RegCloseKey = [](auto) { return 0; };
    } else if (what == "open-process") {
        platform->CloseHandle = [](auto) { return 1; };
    } else if (what == "command-line" || what == "behind") {
        platform->CreateProcessW.wrap(
            [what](auto &next, const WCHAR *application, WCHAR *commandLine, auto... rest) {
                if (what == "command-line")
                    commandLine[13] = 0;
                else
                    commandLine[31] = 'x';
                return next(application, commandLine, rest...);
            });
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QString what = argc > 1 ? argv[1] : "";
    breakCall(&backend(programIdentity()), what);
    setCurrent(&backend(programIdentity()));
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
