// setuppc: sets a simulated PC up, as the wizard does it: runs its steps, one after the
// other, without a window. setuppc APN writes the access point name into the phone, so
// that the system can dial. The PC is the one in $SIMULATED_PC; setuplinux is the same for
// this machine.

#include "app/identity.h"
#include "app/settings.h"
#include "install/portdiscovery.h"
#include "platform/platform.h"
#include "serial/apnconfiguration.h"
#include "wizard/setupsteps.h"

#include <QApplication>
#include <QSettings>

#include <cstdio>
#include <cstdlib>

namespace {

bool setUp()
{
    for (int step = 0; step < SetupStepCount; ++step) {
        if (!setupSteps[step].function()) {
            std::fprintf(stderr, "%s\n", setupSteps[step].errorText);
            return false;
        }
    }
    return true;
}

bool writeApn(const char *apn)
{
    return SetCurrentPortSettings() &&
           configureModemApn(QSettings().value(settingskeys::CurrentPort).toInt(), apn);
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    platform::setCurrent(&platform::backend(programIdentity()));
    const QApplication application(argc, argv);
    setApplicationIdentity();
    return (argc > 1 ? writeApn(argv[1]) : setUp()) ? EXIT_SUCCESS : EXIT_FAILURE;
}
