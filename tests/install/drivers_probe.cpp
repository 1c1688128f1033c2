// Prints the paths that the driver packages' functions hand to the system, and
// what they log. The test copies it into a folder of its own, since the paths
// depend on where the executable lies.
#include "app/identity.h"
#include "install/driverpackages.h"
#include "platform/text.h"
#include "tests/support/bench.h"

#include <QCoreApplication>

#include <cstdio>
#include <memory>

namespace {

void print(const char *name, const QString &value)
{
    std::printf("%s=%s\n", name, value.trimmed().toUtf8().constData());
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    setApplicationIdentity();
    const Bench<> bench;
    RunDriverInstaller();
    // A buffer that the sanitizer watches.
    const auto inf = std::make_unique<platform::WCHAR[]>(PathBufferSize);
    GetModemINFLocation(inf.get());
    print("installer", bench.machine.startedProcesses.first().application);
    print("inf", platform::fromWide(inf.get()));
    for (const QString &line : bench.log.lines())
        print("log", line);
    return 0;
}
