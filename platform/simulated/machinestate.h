#pragma once

#include "platform/standin/devices.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

// Everything that the simulated PC remembers, as it stands in its pc.json.
namespace platform::simulated {

inline constexpr int OnBoardPort = 1; ///< the n of the COMn that is no USB phone's
inline constexpr int LastPort = 256;  ///< the highest port number that Windows assigns

/// Processors that the PC can be given.
enum class Processor { X86, X64, Itanium };

/// "x86", "x64" or "ia64".
QString processorName(Processor processor);
/// The processor of such a name; false, with *processor as it was, for any
/// other text.
bool processorFromName(const QString &name, Processor *processor);

/// What GetVersionExW and the others say about the system.
struct WindowsRelease {
    int major = 6;
    int minor = 1;
    int build = 7601;
    int platformId = 2;  ///< NT
    int productType = 1; ///< workstation
    int suiteMask = 0x100;
    int serverR2 = 0; ///< the metric SM_SERVERR2
    int servicePack = 1;
    Processor processor = Processor::X64;
    bool nativeSystemInfo = true; ///< kernel32 exports GetNativeSystemInfo
};

/// A dial-up connection. It belongs to the system: the process that dialled
/// may end.
struct Connection {
    int handle = 0;
    QString entry;
    QString device;
    QString plugId;   ///< the phone that it goes through
    int port = 0;     ///< the n of COMn
    double since = 0; ///< ms since the epoch
};

/// A failure to be injected into the running program.
struct InjectedFault {
    QString operation;
    int call = 1; ///< the first call that fails
    double code = 0;
    bool always = false; ///< later calls as well
};

/// The machine as a whole. A value: what changes in it is not kept before it
/// is written.
struct MachineState {
    bool administrator = true;
    WindowsRelease windows;
    int installerDurationMs = 600;
    int rescanDurationMs = 1000;
    int answerTimeoutMs = 15000; ///< how long a dial waits for the phone
    int hangUpGuardMs = 1050;    ///< silence around the escape sequence

    bool portDriverInstalled = false;
    /// Phones that were plugged in before the port driver was installed and
    /// have not been looked at since.
    QStringList unmatchedPlugIds;
    QMap<int, int> portOfSocket; ///< the COM number that each USB socket got

    DEVINST nextDevInst = RootDevNode + 1;
    QList<RootDevice> devices;

    bool phonebookDamaged = false;
    bool phonebookProtected = false;      ///< only an administrator may change it
    QMap<QString, QJsonObject> phonebook; ///< the entries by name

    int nextConnection = 1;
    QList<Connection> connections;

    QList<InjectedFault> faults;

    /// The device to which its driver gave this name; null when there is none.
    /// Valid until devices are added or removed.
    const RootDevice *findDeviceNamed(const QString &friendlyName) const;

    /// The content of pc.json.
    QByteArray toJson() const;

    /// Reads such content. False, with a sentence for people in *error, when
    /// it is damaged; the state is then unusable. What is missing keeps its
    /// default.
    bool fromJson(const QByteArray &content, QString *error);
};

} // namespace platform::simulated
