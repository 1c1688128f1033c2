#include "tests/faults/machines.h"

#include <QCoreApplication>

namespace faults {

Facts WalkedMachine::ownFiles()
{
    const QString drivers =
        QCoreApplication::applicationDirPath().replace('/', '\\') + "\\drivers\\";
    Facts facts;
    facts.installer = drivers + "InstallDriver.exe";
    facts.inf = drivers + "modem_inf_64.inf";
    facts.fallbackInf = facts.inf;
    facts.inf32 = drivers + "modem_inf_32.inf";
    return facts;
}

} // namespace faults
