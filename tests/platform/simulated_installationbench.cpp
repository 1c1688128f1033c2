#include "platform/simulated/families.h"
#include "platform/simulated/machinesession.h"
#include "tests/platform/installationbench.h"

using namespace platform;

namespace {

class SimulatedBench : public InstallationBench
{
public:
    SimulatedBench()
    {
        provideErrorHandling(&system);
        simulated::provideDeviceInstallation(&system, path("pc"));
    }

    DeviceList kept() const override
    {
        const simulated::MachineSession session(path("pc"));
        return {session.state.devices, session.state.nextDevInst};
    }
    QString infFolder() const override { return path("pc/inf"); }
    bool hasOnBoardPort() const override { return true; }
    void setAdministrator(bool on) override
    {
        simulated::MachineSession session(path("pc"));
        session.state.administrator = on;
        if (!session.save())
            qFatal("the test's machine cannot be written");
    }
};

} // namespace

std::unique_ptr<InstallationBench> InstallationBench::make()
{
    return std::make_unique<SimulatedBench>();
}
