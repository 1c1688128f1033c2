#include "platform/linux/helper/program.h"

#include "platform/linux/helper/checks.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/helper/surroundings.h"

#include <QString>

#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <unistd.h>

namespace platform::linuxsystem {

namespace {

constexpr int NotServed = 1;

int refuse(const Program &program, const QString &why)
{
    std::fprintf(stderr, "%s: %s\n", qPrintable(program.helper), qPrintable(why));
    return NotServed;
}

/// pkexec tells who asks; root himself needs no pkexec. None when it told nonsense.
std::optional<uid_t> asker()
{
    const char *number = std::getenv("PKEXEC_UID");
    if (!number)
        return 0;
    bool isNumber = false;
    const uid_t user = QString(number).toUInt(&isNumber);
    if (!isNumber || user == std::numeric_limits<uid_t>::max())
        return std::nullopt;
    return user;
}

} // namespace

int runHelper(int argc, char *argv[], const Program &program)
{
    if (::geteuid() != 0)
        return refuse(program, "this program is started by pkexec");
    const std::optional<Role> role = argc == 2 ? roleOf(argv[1]) : std::nullopt;
    if (!role)
        return refuse(program, "the only argument is set-up, connect or end-others");
    const std::optional<uid_t> user = asker();
    if (!user)
        return refuse(program, "PKEXEC_UID is no user");
    if (!leaveTheAskersSurroundings())
        return refuse(program, "this process cannot be put in order");
    SystemPaths paths = SystemPaths::ofThisSystem(program);
    paths.user = *user;
    const QString changeable = changeablePath(paths);
    if (!changeable.isEmpty())
        return refuse(program, "others than root can change " + changeable);
    return serve(paths, program, *role, STDIN_FILENO, STDOUT_FILENO);
}

} // namespace platform::linuxsystem
