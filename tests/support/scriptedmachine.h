#pragma once

#include "platform/platform.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <mutex>

/// A machine in memory on which everything works and which keeps what it was
/// given. A test sets what the machine holds, wraps it in a
/// FaultInjectingPlatform for the calls' order and for failures, runs the
/// function and looks at what came of it. Handles, heap blocks and libraries
/// are counted, so that what is not released shows. Functions bound at run time
/// call the current platform, which must be this one or a decorator of it. To
/// change one operation, wrap it: machine.ReadFile.wrap(...). Any thread.
class ScriptedMachine : public platform::Platform
{
public:
    ScriptedMachine();
    ~ScriptedMachine();

    /// What writing a debug line does to the last error on Windows.
    static void clearLastErrorOfThread();

    // System.
    platform::OsVersionInfoEx version{}; ///< Windows 7 workstation at first
    platform::WORD architecture = platform::ArchitectureX64;
    bool hasNativeSystemInfo = true;
    platform::WORD emulatedArchitecture = platform::ArchitectureIntel; ///< of GetSystemInfo
    int serverR2 = 0;
    QSet<QString> missingLibraries;

    // Named events.
    QStringList eventNames; ///< as they were asked for
    /// The event of any name is there already: another program has made it.
    bool namesAreTaken = false;
    int signalled = 0; ///< calls of SetEvent
    platform::DWORD foregroundGivenTo = 0;
    QString rights;              ///< the last text that was made a security descriptor
    bool eventHasRights = false; ///< the last event was made with that descriptor
    bool administrator = false;  ///< the rights of whoever asks

    // Processes.
    struct StartedProcess {
        QString application;
        QString commandLine;
        bool inheritHandles;
        platform::DWORD flags;
        bool ownDirectory;
        bool attributesNull; ///< security attributes and environment
        platform::StartupInfo startup;
    };
    QList<StartedProcess> startedProcesses;

    // Remote access.
    struct Connection {
        QString entryName;
        platform::RasConnectionHandle handle;
    };
    QList<Connection> connections;
    QList<platform::RasConnectionHandle> hungUp;
    /// dwSize, byte count and connection count that the enumeration was handed.
    platform::DWORD enumeratedSize = 0;
    platform::DWORD enumeratedBytes = 0;
    platform::DWORD enumeratedCount = 0;
    bool enumerationBufferWasZero = false;
    struct Device {
        QString type;
        QString name;
    };
    QList<Device> rasDevices;
    struct StoredEntry {
        QString name;
        platform::RasEntry record;
        platform::DWORD size;
        bool phonebookNull;
        bool deviceInfoNull;
    };
    QList<StoredEntry> storedEntries;
    platform::DWORD entryInfoSize = 5680; ///< of Windows 7
    platform::DWORD defaultEntryOptions = 0x01200010;
    struct Dial {
        QString entry;
        QString number;
        bool phonebookNull;
        platform::RasDialDialog record;
    };
    QList<Dial> dials;
    bool dialSucceeds = true;
    /// Runs inside the dial dialog, before it answers.
    std::function<void()> whileDialling;

    // The COM port.
    QString openedPath;
    platform::DeviceControlBlock lineSettings{}; ///< as the driver reports, then as set
    platform::DeviceControlBlock stateQuery{};   ///< the record that GetCommState was handed
    platform::CommTimeouts timeouts{};
    platform::DWORD eventMask = 0;
    QByteArray written;
    bool writesArePending = false;
    /// What the reads find, one chunk a read; an empty chunk is a read that
    /// finds nothing. When all are used up, waiting fails: the test would
    /// never end otherwise.
    QList<QByteArray> chunks;

    // Devices.
    struct Port {
        QString name;
        bool readable = true;
    };
    QList<Port> ports;
    /// The last error of the enumeration's end.
    platform::DWORD enumerationEnd = platform::ErrorNoMoreItems;
    QString infClass = "Modem";
    QString generatedId = "ROOT\\MODEM\\0000";
    /// Units that the instance id needs according to the first try; more than
    /// what it is handed makes that one fail.
    platform::DWORD instanceIdRequired = 0;
    QByteArray hardwareId; ///< bytes of the property as set
    bool driverKeyExists = false;
    bool selectedDriver = false;
    platform::DWORD selectedDriverSize = 1; ///< cbSize that the query was handed
    struct RegistryWrite {
        QString name;
        platform::DWORD type;
        QByteArray data;
    };
    QList<RegistryWrite> registryWrites;
    int registrations = 0;
    int removals = 0;
    QString copiedInf;
    bool updateWantsReboot = false;
    /// Runs inside the driver update.
    std::function<void()> whileUpdating;
    /// Runs inside the rescan of the device tree.
    std::function<void()> whileRescanning;

    // What is still open.
    int openPorts() const;
    int openEvents() const;
    int openDeviceSets() const;
    int openKeys() const;
    int openProcessHandles() const;
    int openBlocks() const; ///< of both heaps
    int loadedLibraries() const;
    /// Operations on a handle that was not open, frees of unknown blocks.
    int misuses() const;

private:
    enum class Kind { Port, Event, DeviceSet, Key, ProcessHandle, Connection };

    void provideHandles();
    void provideMemory();
    void provideLibraries();
    void provideProcesses();
    void provideRemoteAccess();
    void provideRegistry();
    void provideSerialPort();
    void provideDeviceInstallation();
    void provideSystem();

    platform::HANDLE open(Kind kind);
    bool isOpen(platform::HANDLE handle, Kind kind);
    bool close(platform::HANDLE handle, Kind kind);
    int count(Kind kind) const;
    void *allocate(platform::SIZE_T bytes);
    bool release(void *block);

    // Not QMutex: what it does under contention is hidden from the thread sanitizer.
    mutable std::mutex m_mutex;
    QHash<platform::HANDLE, Kind> m_open;
    platform::ULONG_PTR m_nextHandle = 0x10;
    QSet<void *> m_blocks;
    QHash<platform::HMODULE, QString> m_libraries;
    int m_loadedLibraries = 0;
    int m_misuses = 0;
    platform::DWORD m_pendingWrite = 0;
};
