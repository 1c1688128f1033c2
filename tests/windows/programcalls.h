#pragma once

#include "platform/configmanager.h"
#include "platform/newdev.h"
#include "platform/process.h"
#include "platform/ras.h"
#include "platform/security.h"
#include "platform/serialcomm.h"
#include "platform/setupapi.h"

#include <QByteArray>

#include <vector>

/// The operations of the platform in use, each called as the program calls it:
/// the same values, sizes and cleared memory. What is needed before a call,
/// such as an open port or a library, is the caller's unless it says otherwise.
/// Results are the operation's own.
namespace programcalls {

/// GUID_DEVCLASS_MODEM.
inline constexpr platform::Guid modemClass = {
    0x4D36E96D, 0xE325, 0x11CE, {0xBF, 0xC1, 0x08, 0x00, 0x2B, 0xE1, 0x03, 0x18}};

// The serial port.
platform::HANDLE openPort();
platform::BOOL getState(platform::HANDLE port, platform::DeviceControlBlock *state);
/// Reads the state first; the port answers to that.
platform::BOOL setState(platform::HANDLE port);
platform::BOOL setTimeouts(platform::HANDLE port);
platform::BOOL setMask(platform::HANDLE port);
platform::HANDLE newEvent();
platform::BOOL writeAt(platform::HANDLE port, platform::Overlapped *record);
/// The rights to a named event. The descriptor is the caller's until LocalFree.
platform::BOOL eventRights(platform::SecurityAttributes *rights);
/// An event of a name as the program gives.
platform::HANDLE namedEvent(platform::SecurityAttributes *rights);
/// What was read is added to the answer.
platform::BOOL readAnswer(platform::HANDLE port, platform::Overlapped *record, QByteArray *answer);

// The driver packages and the rescan.
platform::BOOL startInstaller(platform::ProcessInformation *process);
platform::BOOL copyInf();
/// Both bind their function of cfgmgr32.dll for the call. rescan() starts with
/// locateRoot() and answers what that does when it fails.
platform::ConfigRet locateRoot(platform::DEVINST *node);
platform::ConfigRet rescan();

// The port's device.
platform::HDEVINFO presentPorts();
platform::BOOL deviceAt(platform::HDEVINFO set, platform::DWORD index,
                        platform::DeviceInfoData *device);

// The modem's device.
platform::BOOL infClass(platform::Guid *guid, std::vector<platform::WCHAR> *name);
/// Writes the port that the modem hangs on into its driver key.
platform::LONG attach(platform::HKEY key);
/// Binds its function of newdev.dll for the call. The last error is the call's.
platform::BOOL updateDriver(platform::BOOL *reboot);

/// A set for a new device, which is given up at the end.
struct NewModem {
    platform::HDEVINFO set;
    platform::DeviceInfoData device = {sizeof device, {}, 0, 0};

    NewModem();
    ~NewModem();
    NewModem(const NewModem &) = delete;
    NewModem &operator=(const NewModem &) = delete;

    platform::BOOL create();
    platform::BOOL setHardwareId();
    platform::BOOL instanceId(platform::WCHAR *id, platform::DWORD units);
    platform::BOOL registerDevice();
    platform::HKEY openKey();
    platform::HKEY createKey();
    platform::BOOL selectedDriver();
    platform::BOOL remove();
};

// Connections and the phone book.
/// *bytes, where given, receives the size that the list needs.
platform::DWORD enumerateConnections(std::vector<platform::RasConnection> *list,
                                     platform::DWORD *count, platform::DWORD *bytes = nullptr);
platform::BOOL dial(platform::RasDialDialog *dialog);
/// `entry` lies in the block.
platform::DWORD defaultEntry(std::vector<platform::BYTE> *block, platform::RasEntry **entry);
/// Starts with defaultEntry() and answers what that does when it fails.
platform::DWORD storeEntry();

} // namespace programcalls
