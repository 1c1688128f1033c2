#pragma once

#include "install/modeminstallation.h"
#include "platform/text.h"
#include "tests/support/bench.h"

#include <iterator>

// What an installation of the modem on COM5 calls and logs when everything
// works, for the tests of modeminstallation.h.

inline const QString infPath = "C:\\drivers\\modem_inf_64.inf";

// The lines of InstallRootEnumeratedDriver and RegisterModem on a machine on
// which everything works, in order.
inline const QString plain = "InstallRootEnumeratedDriver";
inline const QString classRead =
    messageLine(plain, "\"SetupDiGetINFClass Done. INF Class is Modem\"");
inline const QString setMade = messageLine(plain, "\"SetupDiCreateDeviceInfoList Done.\"");
inline const QString deviceMade =
    messageLine(plain, "\"SetupDiCreateDeviceInfo Done. New Generated Id is ROOT\\MODEM\\0000\"");
inline const QString idSet =
    messageLine(plain, "SetupDiSetDeviceRegistryProperty finished. Now it has id mtkgprsmodem");
inline const QString registered = messageLine("RegisterModem", "SetupDiRegisterDeviceInfo OK\n");
inline const QString keyMade = messageLine(
    "RegisterModem", "SetupDiCreateDevRegKey succeded. Now the modem has entry in registry");
inline const QString valueSet = messageLine(
    "RegisterModem", "\"RegSetValueEx succeded. Now the modem is registered with AttachedTo\"");
inline const QString registeredAgain = messageLine(
    "RegisterModem", "SetupDiRegisterDeviceInfo call for the second time succeded(don't "
                     "know why called it :-S. But it is needed.");
inline const QString noSelectedDriver =
    errorLine("RegisterModem", "SetupDiGetSelectedDriver failes. It's success is not important "
                               "though. It always fails. I don't know why to call it in the 1st "
                               "place :-S.");
inline const QString attached =
    errorLine(plain, "\"RegisterModem finished. Tried to register it to COM5\"");
inline const QString notAttached =
    errorLine(plain, "\"RegisterModem failed. Tried to register it to COM5\"");
inline const QString updated =
    messageLine(plain, "\"UpdateDriverForPlugAndPlayDevices finished. Reboot required == \"");
inline const QString updateFailed = errorLine(plain, "UpdateDriverForPlugAndPlayDevices failed.");

inline QString lastErrorLine(platform::DWORD code)
{
    return messageLine(plain, QString("\"Last Error %1\"").arg(code));
}

inline const QStringList registrationLines = {registered, keyMade, valueSet, registeredAgain,
                                              noSelectedDriver};
inline const QStringList linesUntilUpdate =
    QStringList{classRead, setMade, deviceMade, idSet} + registrationLines + QStringList{attached};

inline const QStringList callsUntilRegistration = {
    "SetupDiGetINFClassW(\"C:\\drivers\\modem_inf_64.inf\", &, \"\", 200, null)", // 200 bytes
    "SetupDiCreateDeviceInfoList(&, null)",
    "SetupDiCreateDeviceInfoW(0x10, \"Modem\", &, null, null, 1, &)", // DICD_GENERATE_ID
    "SetupDiGetDeviceInstanceIdW(0x10, &, \"\", 1000, &)",            // 1000 characters
    "SetupDiSetDeviceRegistryPropertyW(0x10, &, 1, &, 28)",           // SPDRP_HARDWAREID, 28 bytes
};
inline const QStringList callsOfRegistration = {
    "SetupDiRegisterDeviceInfo(0x10, &, 0, null, null, null)",
    "SetupDiOpenDevRegKey(0x10, &, 1, 0, 2, 983103)", // DICS_FLAG_GLOBAL, DIREG_DRV, KEY_ALL_ACCESS
    "SetupDiCreateDevRegKeyW(0x10, &, 1, 0, 2, null, null)", // DICS_FLAG_GLOBAL, DIREG_DRV
    "RegSetValueExW(0x20, \"AttachedTo\", 0, 1, &, 10)",     // REG_SZ, 10 bytes
    "RegCloseKey(0x20)",
    "SetupDiRegisterDeviceInfo(0x10, &, 0, null, null, null)",
    "SetupDiGetSelectedDriverW(0x10, &, &)",
};
inline const QStringList callsOfUpdate = {
    "LoadLibraryW(\"newdev.dll\")",
    "GetProcAddress(0x30, \"UpdateDriverForPlugAndPlayDevicesW\")",
    "UpdateDriverForPlugAndPlayDevicesW(null, \"mtkgprsmodem\", "
    "\"C:\\drivers\\modem_inf_64.inf\", 1, &)", // INSTALLFLAG_FORCE
    "FreeLibrary(0x30)",
};
inline const QString removal = "SetupDiCallClassInstaller(5, 0x10, &)"; // DIF_REMOVE
inline const QString destruction = "SetupDiDestroyDeviceInfoList(0x10)";

/// Runs InstallRootEnumeratedDriver for COM5.
inline bool install(platform::BOOL *rebootRequired)
{
    // Behind the id lies what must become the second NUL, and its neighbour.
    platform::WCHAR hardwareId[] = {'m', 't', 'k', 'g', 'p', 'r', 's', 'm',
                                    'o', 'd', 'e', 'm', 0,   'X', 'Y'};
    static_assert(std::size(hardwareId) == 15, "12 characters, two NULs, one behind");
    const QString portName = "COM5";
    const bool result = InstallRootEnumeratedDriver(hardwareId, platform::wide(infPath),
                                                    platform::wide(portName), rebootRequired);
    if (hardwareId[14] != 'Y')
        qFatal("written beyond the second NUL");
    return result;
}

inline bool install()
{
    platform::BOOL reboot = false;
    return install(&reboot);
}
