// The helper on a test's own folders: what it does and refuses is the real one's
// (helper/service.cpp), only its paths are STANDIN_STATE, STANDIN_PEERS,
// STANDIN_RUN, STANDIN_PPPD_PROGRAM and STANDIN_DRIVERS, and where they are set
// STANDIN_LOCKS and STANDIN_SYSTEMCTL; what lies in STANDIN_TRUSTED passes for
// root's. Where STANDIN_UNCHECKED
// is set it dials whatever it is told, for the tests of the dial alone. Its process
// number is left in STANDIN_HELPER_PID.

#include "app/identity.h"
#include "platform/linux/helper/pppdrun.h"
#include "platform/linux/helper/service.h"
#include "tests/linux/trustedplaces.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

using namespace platform::linuxsystem;

namespace {

QString variable(const char *name)
{
    return qEnvironmentVariable(name);
}

void dialUnchecked(const SystemPaths &paths)
{
    std::signal(SIGTERM, SIG_IGN);
    sendLine(STDOUT_FILENO, {{"ready", true}});
    LineReader reader(STDIN_FILENO);
    QByteArray line;
    QJsonObject request;
    do {
        if (reader.next(&line) != LineReader::Result::Line)
            return;
        request = fromLine(line).value_or(QJsonObject());
        if (Service::isDial(request))
            break;
        const auto code = Service(paths, programIdentity(), Role::Connect).answer(request);
        sendLine(STDOUT_FILENO, {{"code", double(code)}});
    } while (true);
    runPppd(paths.pppd, request.value("entry").toString(), request.value("device").toString(),
            request.value("number").toString(), STDIN_FILENO, STDOUT_FILENO);
}

} // namespace

int main(int argc, char **argv)
{
    const std::optional<Role> role = argc == 2 ? roleOf(argv[1]) : std::nullopt;
    if (!role)
        return 1;
    if (const char *file = std::getenv("STANDIN_HELPER_PID"))
        std::ofstream(file) << ::getpid() << '\n';
    SystemPaths paths;
    paths.state = variable("STANDIN_STATE");
    paths.peers = variable("STANDIN_PEERS");
    paths.run = variable("STANDIN_RUN");
    paths.pppd = variable("STANDIN_PPPD_PROGRAM");
    paths.drivers = variable("STANDIN_DRIVERS");
    if (std::getenv("STANDIN_LOCKS"))
        paths.locks = variable("STANDIN_LOCKS");
    if (std::getenv("STANDIN_SYSTEMCTL"))
        paths.systemctl = variable("STANDIN_SYSTEMCTL");
    paths.trusted = testPlaces({variable("STANDIN_TRUSTED")});
    paths.user = variable("PKEXEC_UID").toUInt();
    if (std::getenv("STANDIN_UNCHECKED"))
        dialUnchecked(paths);
    else
        return serve(paths, programIdentity(), *role, STDIN_FILENO, STDOUT_FILENO);
    return 0;
}
