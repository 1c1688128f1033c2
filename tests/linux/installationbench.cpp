#include "tests/platform/installationbench.h"

#include "app/identity.h"
#include "platform/linux/families.h"
#include "platform/linux/setupapi.h"
#include "platform/linux/statestore.h"
#include "tests/linux/filemode.h"
#include "tests/support/ordinaryuser.h"

using namespace platform;

namespace {

/// A machine whose rights are those of the files that it is kept in.
class LinuxBench : public InstallationBench
{
public:
    LinuxBench() : m_store(std::make_shared<linuxsystem::StateStore>(path("state")))
    {
        setMode(path("."), 0755);
        provideErrorHandling(&system);
        linuxsystem::provideDeviceInstallation(&system, programIdentity(), m_store);
    }
    ~LinuxBench() override { setAdministrator(true); }

    DeviceList kept() const override
    {
        DeviceList list;
        if (linuxsystem::readDevices(*m_store, &list) != Success)
            qFatal("the test's machine cannot be read");
        return list;
    }
    QString infFolder() const override { return m_store->folder() + "/inf"; }
    bool hasOnBoardPort() const override { return false; }
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
    const std::shared_ptr<linuxsystem::StateStore> m_store;
    std::unique_ptr<OrdinaryUser> m_user;
};

} // namespace

std::unique_ptr<InstallationBench> InstallationBench::make()
{
    return std::make_unique<LinuxBench>();
}
