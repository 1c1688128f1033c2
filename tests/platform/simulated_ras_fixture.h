#pragma once

#include "platform/simulated/entryrecord.h"
#include "tests/platform/dialdialog.h"
#include "tests/platform/simulated_fixture.h"

#include <QTest>

#include <functional>

inline platform::RootDevice modem(const QString &name = "MTK GPRS Modem",
                                  const QString &port = "COM5")
{
    platform::RootDevice device;
    device.instanceId = "ROOT\\MODEM\\" + name;
    device.className = "Modem";
    device.friendlyName = name;
    device.driverInf = "oem0.inf";
    device.hasDriverKey = true;
    device.driverKey["AttachedTo"] = port;
    return device;
}

/// A machine with its port driver, a modem and an entry for it that is dialled
/// without a question.
class ReadyMachine : public TestMachine
{
public:
    ReadyMachine()
    {
        change([](platform::simulated::MachineState &state) {
            state.portDriverInstalled = true;
            state.devices += modem();
            platform::RasEntry entry = platform::simulated::defaultEntry();
            entry.dwfOptions &=
                ~(platform::EntryPreviewUserPassword | platform::EntryPreviewPhoneNumber);
            platform::copyToBuffer("MTK GPRS Modem", entry.szDeviceName, 129);
            platform::copyToBuffer("*98#", entry.szLocalPhoneNumber, 129);
            state.phonebook["TolvaneModem 1"] = platform::simulated::entryToJson(entry);
        });
    }

    void addConnection(const QString &plugId, const QString &entry = "TolvaneModem 1", int port = 5)
    {
        change([&](platform::simulated::MachineState &state) {
            platform::simulated::Connection connection;
            connection.handle = state.nextConnection++;
            connection.entry = entry;
            connection.device = "MTK GPRS Modem";
            connection.plugId = plugId;
            connection.port = port;
            state.connections += connection;
        });
    }
};

/// The records as the program asks for them: room for 100, only the first size.
struct ConnectionList {
    explicit ConnectionList(platform::simulated::SimulatedPc &pc)
    {
        records[0].dwSize = platform::RasConnectionSize;
        size = sizeof records;
        result = pc.RasEnumConnectionsW(records, &size, &count);
    }
    QStringList names() const
    {
        QStringList list;
        for (platform::DWORD i = 0; i < count; ++i)
            list += platform::fromField(records[i].szEntryName);
        return list;
    }
    platform::RasConnection records[100] = {};
    platform::DWORD size = 0;
    platform::DWORD count = 0;
    platform::DWORD result = 0;
};

struct DialResult {
    platform::BOOL connected = 0;
    platform::RasDialDialog info = {};
};

/// Calls RasDialDlgW; `play` runs once its dialog is there.
inline DialResult dial(platform::simulated::SimulatedPc &pc,
                       const std::function<void(QDialog *)> &play = {},
                       QString entry = "TolvaneModem 1", QString number = "*99#")
{
    DialResult result;
    result.info.dwSize = platform::RasDialDialogSize;
    if (play)
        inDialDialog(play);
    result.connected =
        pc.RasDialDlgW(nullptr, reinterpret_cast<platform::WCHAR *>(entry.data()),
                       reinterpret_cast<platform::WCHAR *>(number.data()), &result.info);
    return result;
}

/// Waits for the dialog's error, which it returns.
inline QString waitForError(const QDialog *dialog)
{
    const bool failed = QTest::qWaitFor([dialog] { return status(dialog).startsWith("Error"); });
    return failed ? status(dialog) : "no error: " + status(dialog);
}

/// What the dialog of a dial says that fails; it is left by Cancel.
inline QString errorOfDial(platform::simulated::SimulatedPc &pc)
{
    QString error;
    dial(pc, [&error](QDialog *dialog) {
        error = waitForError(dialog);
        cancelButton(dialog)->click();
    });
    return error;
}
