// Does what needs administrator rights, for a window that has none. pkexec starts
// it as root, when polkit allows the action of its one argument; requests come on
// standard input. platform/linux/helper/ has all of it.

#include "app/identity.h"
#include "platform/linux/helper/program.h"

int main(int argc, char *argv[])
{
    return platform::linuxsystem::runHelper(argc, argv, programIdentity());
}
