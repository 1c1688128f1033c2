#include "platform/simulated/machinesession.h"
#include "platform/simulated/programs/simulatedpc/commands.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

// Looks at and changes the simulated PC from outside the program that runs on
// it.
int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.value(0) == "--state") {
        if (arguments.size() < 2) {
            std::fprintf(stderr, "simulated-pc: --state needs a directory\n");
            return WrongUse;
        }
        qputenv("SIMULATED_PC", QFile::encodeName(arguments.at(1)));
        arguments = arguments.mid(2);
    }
    if (arguments.value(0) == "--help" || arguments.value(0) == "-h") {
        std::printf(
            "usage: simulated-pc [--state DIRECTORY] COMMAND\n\n"
            "Looks at and changes the simulated PC, by default the one in $SIMULATED_PC.\n\n"
            "%s\n"
            "  --state DIRECTORY   the machine's directory\n"
            "  --help, --version\n\n"
            "Exit code 0: done, 1: the machine refused, 2: wrong use.\n",
            qPrintable(commandHelp()));
        return Done;
    }
    if (arguments.value(0) == "--version") {
        std::printf("simulated-pc %s\n", SIMULATED_PC_VERSION);
        return Done;
    }
    return runCommand(platform::simulated::defaultStateDirectory(), arguments);
}
