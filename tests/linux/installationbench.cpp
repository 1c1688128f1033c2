#include "tests/platform/installationbench.h"

#include "app/identity.h"
#include "platform/linux/families.h"
#include "platform/linux/helper/client.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "tests/linux/filemode.h"
#include "tests/linux/helperfixture.h"
#include "tests/linux/toldnotices.h"
#include "tests/support/ordinaryuser.h"

#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace platform;

namespace {

/// A machine whose rights are those of the files that it is kept in.
class LinuxBench : public InstallationBench
{
public:
    explicit LinuxBench(bool asksForRights)
        : m_store(std::make_shared<linuxsystem::StateStore>(path("state")))
    {
        setMode(path("."), 0755);
        linuxsystem::SystemPaths paths;
        if (asksForRights) {
            paths.state = path("state");
            paths.drivers = path("."); // the tests' INFs are the driver package's
            useHelperStandIn(&paths, QDir::cleanPath(path(".")));
            usePkexecStandIn(&paths);
        }
        provideErrorHandling(&system);
        linuxsystem::provideDeviceInstallation(&system, programIdentity(), m_store,
                                               std::make_shared<linuxsystem::HelperClient>(paths),
                                               std::make_shared<ToldNotices>());
    }

    DeviceList kept() const override
    {
        DeviceList list;
        if (linuxsystem::readDevices(*m_store, &list) != Success)
            qFatal("the test's machine cannot be read");
        return list;
    }
    QString infFolder() const override { return m_store->folder() + "/inf"; }
    bool hasOnBoardPort() const override { return false; }

protected:
    const std::shared_ptr<linuxsystem::StateStore> m_store;
};

#ifdef TMC_THROUGH_HELPER

/// The same as an ordinary user sees it: the helper makes each change, and gets its
/// rights from the test.
class HelperBench : public LinuxBench
{
public:
    HelperBench() : LinuxBench(true)
    {
        qputenv("STANDIN_HELPER_PID", path("helper.pid").toLocal8Bit());
    }

    void setAdministrator(bool on) override
    {
        qputenv("STANDIN_PKEXEC", on ? "" : "refuse");
        // Rights that were given last as long as the helper.
        QFile file(path("helper.pid"));
        const int process = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
        const int descriptor =
            process > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, process, 0)) : -1;
        if (descriptor < 0)
            return;
        ::kill(process, SIGKILL);
        pollfd ended = {descriptor, POLLIN, 0};
        ::poll(&ended, 1, -1);
        ::close(descriptor);
    }
};

using Bench = HelperBench;

#else

class AdministratorsBench : public LinuxBench
{
public:
    AdministratorsBench() : LinuxBench(false) {}
    ~AdministratorsBench() override { setAdministrator(true); }

    void setAdministrator(bool on) override
    {
        m_user.reset();
        const QString lock = m_store->folder() + "/state.lock";
        if (!QDir().mkpath(m_store->folder()))
            qFatal("the test's machine cannot be made");
        setMode(m_store->folder(), on ? 0755 : 0555);
        if (QFile::exists(lock))
            setMode(lock, on ? 0600 : 0);
        if (!on)
            m_user = std::make_unique<OrdinaryUser>();
    }

private:
    std::unique_ptr<OrdinaryUser> m_user;
};

using Bench = AdministratorsBench;

#endif

} // namespace

std::unique_ptr<InstallationBench> InstallationBench::make()
{
    return std::make_unique<Bench>();
}
