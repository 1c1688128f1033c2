// Does what needs administrator rights, for a window that has none. pkexec starts
// it as root, when polkit allows the action of its one argument; requests come on
// standard input. platform/linux/helper/ has the rest.

#include "app/identity.h"
#include "platform/linux/helper/service.h"
#include "platform/linux/ownership.h"

#include <QDir>
#include <QString>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

using namespace platform::linuxsystem;

namespace {

constexpr int NotServed = 1;

int refuse(const char *why)
{
    std::fprintf(stderr, "tolvane-dialler-helper: %s\n", why);
    return NotServed;
}

} // namespace

int main(int argc, char *argv[])
{
    if (::geteuid() != 0)
        return refuse("this program is started by pkexec");
    const std::optional<Role> role = argc == 2 ? roleOf(argv[1]) : std::nullopt;
    if (!role)
        return refuse("the only argument is set-up, connect or end-others");
    // pkexec tells who asks; root himself needs no pkexec.
    bool isNumber = true;
    const char *asker = std::getenv("PKEXEC_UID");
    const uint user = asker ? QString(asker).toUInt(&isNumber) : 0;
    if (!isNumber || user == std::numeric_limits<uint>::max())
        return refuse("PKEXEC_UID is no user");

    // Nothing of the asker's surroundings reaches what is started from here. pkexec
    // keeps signals as it finds them.
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    for (int number = 1; number < NSIG; ++number)
        std::signal(number, SIG_DFL);
    ::alarm(0);
    ::clearenv();
    ::setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
    ::umask(022);
    if (::chdir("/") != 0)
        return refuse("there is no root folder");

    const platform::Program program = programIdentity();
    SystemPaths paths = SystemPaths::ofThisSystem(program);
    paths.user = user;
    // What lies in the drivers' folder is run as root, or becomes a rule of the system.
    QStringList files{paths.helper, paths.pppd, paths.drivers + "/DialPhone",
                      paths.drivers + "/InstallDriver"};
    for (const QString &name :
         QDir(paths.drivers)
             .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        files += paths.drivers + '/' + name;
    for (const QString &path : std::as_const(files)) {
        if (!isOnlyRoots(path)) {
            std::fprintf(stderr, "tolvane-dialler-helper: others than root can change %s\n",
                         qPrintable(path));
            return NotServed;
        }
    }
    return serve(paths, program, *role, STDIN_FILENO, STDOUT_FILENO);
}
