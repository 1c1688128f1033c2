#include "tests/support/scriptedmachine.h"
#include "platform/standin/lasterror.h"
#include "platform/text.h"
#include "tests/faults/machines.h"

#include <QFile>
#include <QSet>

#include <mutex>

using namespace platform;

namespace faults {

namespace {

constexpr int Port = 7;

/// The machine of the logic's tests, with what a real one would refuse: a port
/// that is not there or in use, an entry that is not stored, a modem without a
/// driver.
class ScriptedWalkedMachine : public WalkedMachine
{
public:
    explicit ScriptedWalkedMachine(const QString &folder) : m_entries(folder + "/entries")
    {
        plugPhone();
        refusePorts();
        loseThePhone();
        refuseEntries();
        m_machine.whileUpdating = [this] { m_machine.rasDevices = {{"modem", "MTK GPRS Modem"}}; };
    }

    Platform *platform() override { return &m_machine; }

    Facts facts() const override
    {
        Facts facts = ownFiles();
        // The processor that is asked for otherwise is another one, as on a
        // 64-bit system that runs a 32-bit program.
        facts.fallbackInf = facts.inf32;
        facts.devices = QStringList{"Communications Port (COM1)", "USB Modem Driver (COM7)"};
        facts.port = Port;
        return facts;
    }

    void setOtherCopy(bool isThere) override { m_machine.namesAreTaken = isThere; }

    void answerDial() override { m_machine.chunks = {"\r\nOK\r\n", "\r\nOK\r\n"}; }

    void pullPhone() override
    {
        m_machine.ports = {{facts().devices.first(), true}};
        m_machine.chunks.clear();
        m_machine.connections.clear();
        const std::lock_guard lock(m_mutex);
        m_isPlugged = false;
        if (m_port)
            m_lost.insert(m_port);
        m_port = nullptr;
    }

    void plugPhone() override
    {
        m_machine.ports.clear();
        for (const QString &name : facts().devices)
            m_machine.ports.append({name, true});
        const std::lock_guard lock(m_mutex);
        m_isPlugged = true;
    }

    bool isConnected() const override { return !m_machine.connections.isEmpty(); }

    void dropConnection() override { m_machine.connections.clear(); }

    void forget() override
    {
        m_machine.startedProcesses.clear();
        m_machine.hungUp.clear();
        m_machine.storedEntries.clear();
        m_machine.dials.clear();
        m_machine.written.clear();
        m_machine.registryWrites.clear();
        m_machine.eventNames.clear();
    }

    int misuses() const override { return m_machine.misuses(); }

private:
    /// An operation on a port whose phone was pulled meanwhile.
    template<typename Slot> void failWhenLost(Slot *operation)
    {
        operation->wrap([this](auto &next, HANDLE port, auto... arguments) -> BOOL {
            if (!isLost(port))
                return next(port, arguments...);
            setLastError(ErrorDeviceNotConnected);
            return 0;
        });
    }

    bool isLost(HANDLE port) const
    {
        const std::lock_guard lock(m_mutex);
        return m_lost.contains(port);
    }

    void loseThePhone()
    {
        failWhenLost(&m_machine.GetCommState);
        failWhenLost(&m_machine.SetCommState);
        failWhenLost(&m_machine.SetCommTimeouts);
        failWhenLost(&m_machine.SetCommMask);
        failWhenLost(&m_machine.WaitCommEvent);
        failWhenLost(&m_machine.ReadFile);
        failWhenLost(&m_machine.WriteFile);
        failWhenLost(&m_machine.GetOverlappedResult);
        m_machine.CloseHandle.wrap([this](auto &next, HANDLE handle) -> BOOL {
            {
                const std::lock_guard lock(m_mutex);
                m_port = handle == m_port ? nullptr : m_port;
            }
            return next(handle);
        });
        // A list of devices is made before one of them goes.
        m_machine.SetupDiGetDeviceRegistryPropertyW.wrap(
            [this](auto &next, HDEVINFO set, DeviceInfoData *device, auto... arguments) -> BOOL {
                if (device->DevInst <= DWORD(m_machine.ports.size()))
                    return next(set, device, arguments...);
                setLastError(ErrorNoSuchDevInst);
                return 0;
            });
    }

    void refusePorts()
    {
        m_machine.CreateFileW.wrap([this](auto &next, const WCHAR *name,
                                          auto... arguments) -> HANDLE {
            const std::lock_guard lock(m_mutex);
            const bool isThere = m_isPlugged && fromWide(name) == QString("\\\\.\\COM%1").arg(Port);
            if (isThere && !m_port)
                return m_port = next(name, arguments...);
            setLastError(isThere ? ErrorAccessDenied : ErrorFileNotFound);
            return invalidHandle();
        });
    }

    void refuseEntries()
    {
        m_machine.RasSetEntryPropertiesW.wrap(
            [this](auto &next, const WCHAR *book, const WCHAR *name, auto... arguments) -> DWORD {
                const DWORD code = next(book, name, arguments...);
                QFile file(m_entries);
                if (!file.open(QIODevice::Append))
                    qFatal("the walk's entry cannot be stored");
                file.write(fromWide(name).toUtf8() + '\n');
                return code;
            });
        m_machine.RasDialDlgW.wrap(
            [this](auto &next, WCHAR *book, WCHAR *name, auto... arguments) -> BOOL {
                if (!isStored(fromWide(name)) || m_machine.ports.size() < 2)
                    return 0;
                if (!m_machine.connections.isEmpty())
                    return 1; // is connected, and stays so
                return next(book, name, arguments...);
            });
    }

    bool isStored(const QString &name) const
    {
        QFile file(m_entries);
        return file.open(QIODevice::ReadOnly) &&
               file.readAll().split('\n').contains(name.toUtf8()) && !name.isEmpty();
    }

    const QString m_entries;
    ScriptedMachine m_machine;
    mutable std::mutex m_mutex;
    bool m_isPlugged = true;
    HANDLE m_port = nullptr; // the phone's, while it is open
    QSet<HANDLE> m_lost;     // ports that are open still, whose phone was pulled
};

} // namespace

std::unique_ptr<WalkedMachine> scriptedMachine(const QString &folder)
{
    return std::make_unique<ScriptedWalkedMachine>(folder);
}

} // namespace faults
