#pragma once

#include "tests/faults/expectations.h"
#include "tests/support/logcatcher.h"

// What the program logs and prints where everything works, and lines that several
// rows of the table share.
namespace faults {

inline const char entryName[] = "TolvaneModem 1";

// The search for the port.

inline QString noPortsLine()
{
    return errorLine(quoted("SetCurrentPortSettings"), "No ports available");
}

inline QString portLine(const Facts &f)
{
    return messageLine(quoted("SetCurrentPortSettings"),
                       quoted(QString("port %1 available").arg(f.port)));
}

/// Of the device at that place in the list, by the name that was read.
inline QStringList deviceLines(const Facts &f, int index, const QString &name)
{
    QStringList lines{"Got Device  " + quoted(name)};
    const bool isPhone = index + 1 == f.devices.size() && name == f.devices.last();
    if (isPhone)
        lines += QString("Got Port  %1").arg(f.port);
    return lines;
}

inline QStringList portLines(const Facts &f)
{
    QStringList lines;
    for (int i = 0; i < f.devices.size(); ++i)
        lines += deviceLines(f, i, f.devices.at(i));
    return lines + QStringList{portLine(f)};
}

// The set-up.

inline QString installerLine(const Facts &f)
{
    return "Installer location: " + quoted(f.installer);
}

inline QString infLine(const QString &path)
{
    return messageLine(quoted("GetModemINFLocation"), quoted(path));
}

inline QString rescan()
{
    return quoted("ReScanDriver()");
}

inline QString locatedLine()
{
    return messageLine(rescan(), "CM_Locate_DevNode_Ex done");
}

/// The lines of an installation of the modem.
struct ModemLog {
    explicit ModemLog(const QString &port)
        : attached(errorLine(function,
                             quoted("RegisterModem finished. Tried to register it to " + port))),
          notAttached(
              errorLine(function, quoted("RegisterModem failed. Tried to register it to " + port)))
    {
    }

    QString classNamed(const QString &name) const
    {
        return messageLine(function, quoted("SetupDiGetINFClass Done. INF Class is " + name));
    }
    QString idGiven(const QString &id) const
    {
        return messageLine(function,
                           quoted("SetupDiCreateDeviceInfo Done. New Generated Id is " + id));
    }
    QString lastError(const QString &code) const
    {
        return messageLine(function, quoted("Last Error " + code));
    }
    QStringList all() const
    {
        return QStringList{classRead, setMade, deviceMade} + registration +
               QStringList{attached,
                           messageLine(function, quoted("UpdateDriverForPlugAndPlayDevices "
                                                        "finished. Reboot required == ")),
                           lastError("0")};
    }

    const QString function = "InstallRootEnumeratedDriver";
    const QString attached;
    const QString notAttached;
    const QString classRead = classNamed("Modem");
    const QString setMade = messageLine(function, quoted("SetupDiCreateDeviceInfoList Done."));
    const QString deviceMade = idGiven("ROOT\\MODEM\\0000");
    const QString valueSet = messageLine(
        "RegisterModem", quoted("RegSetValueEx succeded. Now the modem is registered with "
                                "AttachedTo"));
    const QStringList registration = {
        messageLine(function, "SetupDiSetDeviceRegistryProperty finished. Now it has id "
                              "mtkgprsmodem"),
        messageLine("RegisterModem", "SetupDiRegisterDeviceInfo OK\n"),
        messageLine("RegisterModem",
                    "SetupDiCreateDevRegKey succeded. Now the modem has entry in registry"),
        valueSet,
        messageLine("RegisterModem", "SetupDiRegisterDeviceInfo call for the second time "
                                     "succeded(don't know why called it :-S. But it is needed."),
        errorLine("RegisterModem",
                  "SetupDiGetSelectedDriver failes. It's success is not important though. It "
                  "always fails. I don't know why to call it in the 1st place :-S."),
    };
};

inline QStringList stepLines(const Facts &f, const QString &step)
{
    if (step == driversStep)
        return {installerLine(f), infLine(f.inf)};
    if (step == rescanStep)
        return {locatedLine(), messageLine(rescan(), "CM_Reenumerate_DevNode_Ex done")};
    if (step == portStep)
        return portLines(f);
    if (step == modemStep)
        return QStringList{infLine(f.inf)} + portLines(f) +
               ModemLog(QString("COM%1").arg(f.port)).all();
    return {"Successfully created the DIALUP CONNECTION :D :D"};
}

// The connection.

inline QString pathLine(int port)
{
    return quoted(QString("\\\\.\\COM%1").arg(port)) + " \n";
}

inline QString reconfiguredLine(int port)
{
    return QString("Serial port  %1  is successfully reconfigured.").arg(port);
}

inline QStringList connectLines(const Facts &f)
{
    return portLines(f) + QStringList{pathLine(f.port), reconfiguredLine(f.port)};
}

inline QString writtenPrinted()
{
    return "\nWriteFile completed immediately.\n";
}

inline QString writtenLaterPrinted()
{
    return "\nWrite operation completed successfully.\n";
}

inline QString notWrittenPrinted(const QString &code)
{
    return "\nWriteFile failed with error " + code + ".\n";
}

inline QString okPrinted()
{
    return "\r\nOK\r\n\n";
}

/// One command and its answer.
inline QString atPrinted()
{
    return writtenPrinted() + okPrinted();
}

inline QString askedLine(const QString &name)
{
    return "in isDialupConnectionConnected, connName:  " + quoted(name);
}

/// The lines up to the first connection.
inline QStringList noConnectionLines(unsigned count)
{
    return {askedLine(entryName),
            messageLine("isDialupConnectionConnected",
                        quoted(QString("No of Connections = %1").arg(count))),
            "The following RAS connections are currently active: \n"};
}

inline QStringList otherLines(const QString &name)
{
    return {quoted(name), " !=  " + quoted(entryName) + " \n"};
}

inline QStringList connectedLines(const QString &name)
{
    return noConnectionLines(1) + QStringList{quoted(name), " ==  " + quoted(entryName) + " \n"};
}

} // namespace faults
