// Before Qt: GLib has a member called "signals".
#include <umockdev.h>

#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/messagenotices.h"
#include "platform/linux/statestore.h"
#include "platform/posix/serialcomm.h"
#include "platform/standin/foreground.h"
#include "platform/standin/memory.h"
#include "platform/standin/modules.h"
#include "platform/standin/security.h"
#include "tests/faults/machines.h"
#include "tests/linux/pppdfixture.h"
#include "tests/platform/dialdialog.h"
#include "tests/platform/simulated_fixture.h"

#include <QElapsedTimer>
#include <QThread>

#include <csignal>
#include <unistd.h>

using namespace platform;
using namespace platform::linuxsystem;

namespace faults {

namespace {

/// The Linux backend's families, as LinuxPlatform puts them together; but the port
/// is opened by a path that umockdev leaves alone. Its own handling of the device
/// would stop the process now and then.
class LinuxSystem : public Platform
{
public:
    /// `line` says which device the phone's port is now.
    LinuxSystem(const SystemPaths &paths, const Program &program,
                const std::function<QString()> &line)
    {
        const auto handles = std::make_shared<Handles>();
        const auto store = std::make_shared<StateStore>(paths.state);
        const auto helper = std::make_shared<HelperClient>(paths);
        const auto notices = std::make_shared<MessageNotices>();
        provideErrorHandling(this);
        provideForeground(this);
        provideKernelObjects(this, handles);
        provideMemory(this);
        provideModules(this);
        provideConfigManager(this, helper);
        provideDeviceInstallation(this, program, store, helper, notices);
        linuxsystem::provideProcess(this, handles, paths, helper);
        provideRas(this, paths, program, store, helper);
        provideSecurity(this, [] { return true; });
        platform::provideSerialComm(this, handles, [line](int number, QString *node) -> DWORD {
            const QString device = line();
            *node = "/proc/self/root" + device;
            return number == Port && !device.isEmpty() ? DWORD(Success) : ErrorFileNotFound;
        });
        provideSystemInformation(this);
    }

    static constexpr int Port = 5;
};

/// The Linux backend on devices of the walk's own, with a stand-in for pppd and a
/// phone on a pseudo-terminal. Run it under umockdev-wrapper.
class LinuxWalkedMachine : public WalkedMachine
{
public:
    explicit LinuxWalkedMachine(const QString &folder)
        : m_folder(folder), m_paths(pathsIn(folder)), m_system(m_paths, programIdentity(), [this] {
              return m_phone && m_phone->isPluggedIn() ? m_phone->node() : QString();
          })
    {
        // The environment is complete before there is another thread: that of the
        // mocked devices reads it.
        PppdFixture::plan("link:lo");
        qputenv("STANDIN_ARGUMENTS", (folder + "/arguments").toLocal8Bit());
        qputenv("STANDIN_DESCRIPTORS", (folder + "/descriptors").toLocal8Bit());
        m_devices = umockdev_testbed_new();
        if (!umockdev_in_mock_environment())
            qFatal("start this with umockdev-wrapper");
        plugPhone();
        useDriverPackage();
        // There may be no udev daemon here, and nobody answers for these devices.
        m_system.CM_Reenumerate_DevNode_Ex = [](DEVINST, ULONG, MachineHandle) -> ConfigRet {
            return ConfigSuccess;
        };
        // A hang-up may return before the link is down. The walk looks afterwards.
        m_system.RasHangUpW.wrap([this](auto &next, auto... arguments) {
            const DWORD code = next(arguments...);
            QElapsedTimer time;
            time.start();
            while (code == Success && !links().isEmpty() && time.elapsed() < 10000)
                QThread::msleep(1);
            return code;
        });
    }

    ~LinuxWalkedMachine() override
    {
        dropConnection();
        g_object_unref(m_devices);
    }

    Platform *platform() override { return &m_system; }

    Facts facts() const override
    {
        Facts facts = ownFiles();
        facts.devices = QStringList{"USB Modem Driver (COM5)"};
        facts.port = LinuxSystem::Port;
        facts.isReal = true;
        return facts;
    }

    void setOtherCopy(bool) override {}

    void answerDial() override {}

    void pullPhone() override
    {
        dropConnection(); // its pppd would end so
        removeDevice();
        m_phone.reset();
    }

    /// A port with the mark of the driver package. Only the program opens the phone's
    /// own line: the helper would hang it up, as it must do before a real dial.
    void plugPhone() override
    {
        if (m_phone && m_phone->isPluggedIn())
            return;
        pullPhone(); // what is left of one that was pulled while it heard a command
        m_phone = std::make_unique<ScriptedPhone>(m_folder + "/bus");
        for (const char *command : {"AT", "AT+CGDCONT=1,\"IP\",\"blweb\""})
            m_phone->setAnswer(command, "\r\nOK\r\n");
        char *const end = nullptr;
        m_device = umockdev_testbed_add_device(m_devices, "tty", "rfcomm7", nullptr, end, "DEVNAME",
                                               "/dev/rfcomm7", "TOLVANE_MODEM_PORT", "1", end);
    }

    void pullPhoneAtCommand(int command) override
    {
        m_phone->whenPulled = [this] { removeDevice(); };
        m_phone->pulledAt = command;
    }

    int heardCommands() const override
    {
        return m_phone ? static_cast<int>(m_phone->commands().size()) : 0;
    }

    bool isConnected() const override { return !links().isEmpty(); }

    void dropConnection() override
    {
        for (const ActiveLink &link : links())
            ::kill(link.process, SIGKILL);
    }

    void answerDialogs() override
    {
        DialDialog *dialog = openDialDialog();
        if (dialog && status(dialog).startsWith("Error"))
            cancelButton(dialog)->click();
    }

    int misuses() const override { return 0; }

private:
    static SystemPaths pathsIn(const QString &folder)
    {
        SystemPaths paths;
        for (const char *name : {"peers", "run", "locks"})
            QDir(folder).mkpath(name);
        paths.state = folder + "/state";
        paths.peers = folder + "/peers";
        paths.run = folder + "/run";
        paths.locks = folder + "/locks";
        paths.pppd = QCoreApplication::applicationDirPath() + "/standin/pppd";
        paths.drivers = "/drivers";
        useHelperStandIn(&paths, folder);
        return paths;
    }

    void removeDevice()
    {
        if (m_device)
            umockdev_testbed_remove_device(m_devices, m_device);
        g_free(m_device);
        m_device = nullptr;
    }

    /// The folder of the test programs has the simulated PC's drivers.
    void useDriverPackage()
    {
        m_system.CreateProcessW.wrap([](auto &next, const WCHAR *, auto... arguments) {
            return next(u"/bin/true", arguments...);
        });
        m_system.SetupCopyOEMInfW.wrap(
            [](auto &next, const WCHAR *, const WCHAR *, auto... arguments) {
                return next(inf, inf, arguments...);
            });
        m_system.SetupDiGetINFClassW.wrap(
            [](auto &next, const WCHAR *, auto... arguments) { return next(inf, arguments...); });
        m_system.UpdateDriverForPlugAndPlayDevicesW.wrap(
            [](auto &next, HWND window, const WCHAR *id, const WCHAR *, auto... arguments) {
                return next(window, id, inf, arguments...);
            });
    }

    QList<ActiveLink> links() const
    {
        return activeLinks(PhoneBook(programIdentity(), m_paths), m_paths.run);
    }

    static constexpr const WCHAR *inf = u"" TMC_DRIVERS "/modem_inf_64.inf";

    const QString m_folder;
    std::unique_ptr<ScriptedPhone> m_phone;
    const SystemPaths m_paths;
    LinuxSystem m_system;
    UMockdevTestbed *m_devices = nullptr;
    char *m_device = nullptr;
};

} // namespace

std::unique_ptr<WalkedMachine> linuxMachine(const QString &folder)
{
    return std::make_unique<LinuxWalkedMachine>(folder);
}

} // namespace faults
