#include "platform/posix/process.h"

#include "platform/simulated/families.h"
#include "platform/standin/paths.h"

#include <algorithm>

namespace platform::simulated {

namespace {

/// This process's environment, with the child on the same machine.
std::vector<QByteArray> childEnvironment(const QString &stateDirectory)
{
    const QByteArray name = "SIMULATED_PC=";
    std::vector<QByteArray> environment = ownEnvironment();
    const auto isMachine = [&](const QByteArray &entry) { return entry.startsWith(name); };
    environment.erase(std::remove_if(environment.begin(), environment.end(), isMachine),
                      environment.end());
    environment.push_back(name + stateDirectory.toLocal8Bit());
    return environment;
}

} // namespace

void provideProcess(Platform *platform, const std::shared_ptr<Handles> &handles,
                    const QString &directory)
{
    platform::provideProcess(platform, handles, systemPath,
                             [directory] { return childEnvironment(directory); });
}

} // namespace platform::simulated
