#include "platform/simulated/machinesession.h"
#include "platform/simulated/usbbus.h"

#include <QCoreApplication>
#include <QThread>

#include <cstdio>

// The port driver's installer on the simulated PC: takes its time, as
// installers do, and leaves the driver behind.
namespace {

enum ExitCode { Installed = 0, WrongUse = 1, NoRights = 2, NotRecorded = 3 };

int installPortDriver(const QString &directory)
{
    int duration = 0;
    {
        const platform::simulated::MachineSession session(directory);
        if (!session.state.administrator) {
            std::fprintf(stderr, "InstallDriver: administrator rights are needed\n");
            return NoRights;
        }
        duration = session.state.installerDurationMs;
    }
    QThread::msleep(static_cast<unsigned long>(duration));
    platform::simulated::MachineSession session(directory);
    platform::simulated::installPortDriver(directory, &session.state);
    return session.save() ? Installed : NotRecorded;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().mid(1) != QStringList{"-a"}) {
        std::fprintf(stderr, "usage: InstallDriver -a\n"
                             "Installs the port driver of the phone on the simulated PC.\n");
        return WrongUse;
    }
    return installPortDriver(platform::simulated::defaultStateDirectory());
}
